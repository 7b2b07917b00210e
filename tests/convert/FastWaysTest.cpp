// The set that is asked for is the one that is chosen, and its loops do the work: estimates where they have a
// bound, doubles in vectors where they have none. The loops are counted on their way into a conversion.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "convert/filter/FilteredBayer.h"
#include "convert/yuyv/VectorisedYuyv.h"
#include "convert/yuyv/YuyvToRgb.h"
#include "tests/convert/MachineSets.h"

namespace kvexa::test {
namespace {

using namespace convert;

struct Work {
  std::size_t estimated = 0;  // pixels or groups
  std::size_t exact = 0;
  std::size_t doubts = 0;
  std::size_t shared = 0;  // pixels whose channels have one sum
};

const RowLoops& original() { return chosenRowLoops(); }
Work work;

template <std::size_t sampleBytes, Packing packing>
std::size_t countedFilter(const FilterRows& rows, std::uint8_t* pixels, std::size_t count,
                          const FilterWeights& weights, std::size_t& doubts) {
  const auto loop = original().filter[sampleBytes - 1][packing == Packing::rgb888];
  const std::size_t done = loop(rows, pixels, count, weights, doubts);
  work.estimated += done;
  work.doubts += doubts;
  work.shared += weights.hasEqualChannels ? done : 0;
  return done;
}

template <std::size_t sampleBytes, Packing packing>
std::size_t countedExactFilter(const ExactRows& rows, std::uint8_t* pixels, std::size_t count,
                               const FilterWeights& weights) {
  const auto loop = original().filterExactly[sampleBytes - 1][packing == Packing::rgb888];
  const std::size_t done = loop(rows, pixels, count, weights);
  work.exact += done;
  work.shared += weights.hasEqualChannels ? done : 0;
  return done;
}

template <bool isMatrix, std::size_t sampleBytes>
std::size_t countedYuyv(const std::uint8_t* source, std::uint8_t* pixels, std::size_t groups,
                        const YuyvParameters& parameters) {
  const auto& loops = isMatrix ? original().yuyvMatrix : original().yuyvDouble;
  const std::size_t done = loops[sampleBytes - 1][1][0](source, pixels, groups, parameters);
  (parameters.estimate.isUsable ? work.estimated : work.exact) += done;
  return done;
}

RowLoops countedLoops() {
  RowLoops loops = original();
  loops.filter[0][1] = countedFilter<1, Packing::rgb888>;
  loops.filter[1][1] = countedFilter<2, Packing::rgb888>;
  loops.filterExactly[0][1] = countedExactFilter<1, Packing::rgb888>;
  loops.filterExactly[1][1] = countedExactFilter<2, Packing::rgb888>;
  loops.yuyvDouble[0][1][0] = countedYuyv<false, 1>;
  loops.yuyvDouble[1][1][0] = countedYuyv<false, 2>;
  loops.yuyvMatrix[0][1][0] = countedYuyv<true, 1>;
  loops.yuyvMatrix[1][1][0] = countedYuyv<true, 2>;
  return loops;
}

class FastWays : public testing::Test {
 protected:
  static constexpr std::uint32_t width = 66, height = 6, bits = 10;
  static constexpr std::size_t interior = std::size_t{width - 2} * (height - 2), groups = width * height / 2;

  bool isScalar() const { return setUnderTest() == "scalar"; }

  Work filtered(std::size_t sampleBytes, double weight) {
    return filtered(sampleBytes, std::vector<double>(108, weight));
  }
  Work filtered(std::size_t sampleBytes, const std::vector<double>& kernels) {
    work = {};
    if (isScalar()) return work;
    if (sampleBytes == 1) {
      filterRaw8(bytes(), pixels_.data(), width, height, 0, kernels.data(), Packing::rgb888, Extent::framed,
                 loops_);
    } else {
      filterRaw16(samples_.data(), pixels_.data(), width, height, 0, kernels.data(), bits, Packing::rgb888,
                  Extent::framed, loops_);
    }
    return work;
  }

  Work yuyv(std::size_t sampleBytes, YuyvMethod method) {
    work = {};
    if (isScalar()) return work;
    if (sampleBytes == 1) {
      yuyv8ToRgb(bytes(), pixels_.data(), width, height, method, YuyvOrder::chromaFirst, yuyvFormatRgb888,
                 loops_);
    } else {
      yuyv16ToRgb(samples_.data(), pixels_.data(), width, height, method, YuyvOrder::chromaFirst,
                  yuyvFormatRgb888, bits, loops_);
    }
    return work;
  }

  Work matrix(std::size_t sampleBytes, double weight) {
    const std::vector<double> weights(13, weight);
    work = {};
    if (isScalar()) return work;
    if (sampleBytes == 1) {
      yuyv8ToMtxRgb(bytes(), pixels_.data(), width, height, weights.data(), YuyvOrder::chromaFirst,
                    yuyvFormatRgb888, loops_);
    } else {
      yuyv16ToMtxRgb(samples_.data(), pixels_.data(), width, height, weights.data(), YuyvOrder::chromaFirst,
                     yuyvFormatRgb888, bits, loops_);
    }
    return work;
  }

  // In the scalar set there are no loops to count.
  void expectWork(std::size_t estimated, std::size_t exact, const Work& done) {
    EXPECT_EQ(isScalar() ? 0 : estimated, done.estimated);
    EXPECT_EQ(isScalar() ? 0 : exact, done.exact);
  }

 private:
  const std::uint8_t* bytes() const { return reinterpret_cast<const std::uint8_t*>(samples_.data()); }

  RowLoops loops_ = countedLoops();
  std::vector<std::uint16_t> samples_ = std::vector<std::uint16_t>(std::size_t{width} * height * 2, 301);
  std::vector<std::uint8_t> pixels_ = std::vector<std::uint8_t>(std::size_t{width} * height * 3);
};

TEST_F(FastWays, theSetIsTheOneAskedFor) {
  EXPECT_EQ(setUnderTest(), nameOf(chosenInstructionSet()));
  EXPECT_EQ(isScalar(), original().filter[0][0] == nullptr);
  for (const MachineSet& set : machineSets()) {
    for (const InstructionSet known : allInstructionSets) {
      if (set.name != std::string(nameOf(known))) continue;
      EXPECT_EQ(set.isThere, rowLoopsOf(known) != nullptr) << set.name;
    }
  }
}

TEST_F(FastWays, kernelsAreEstimatedWithFewDoubts) {
  for (const std::size_t sampleBytes : {std::size_t{1}, std::size_t{2}}) {
    for (const double weight : {0.25, 0.1, -0.3, 1e-30}) {
      const Work done = filtered(sampleBytes, weight);
      expectWork(interior, 0, done);
      EXPECT_EQ(0u, done.doubts) << weight;
    }
  }
}

TEST_F(FastWays, kernelsWithoutABoundAreSummedInDoubles) {
  for (const double weight : {1e9, -1e300, std::numeric_limits<double>::infinity()}) {
    expectWork(0, interior, filtered(1, weight));
    expectWork(0, interior, filtered(2, weight));
  }
}

TEST_F(FastWays, equalChannelsHaveOneSum) {
  const std::size_t all = isScalar() ? 0 : interior;
  for (const std::size_t sampleBytes : {std::size_t{1}, std::size_t{2}}) {
    for (const double weight : {1.0 / 9, 1e9, std::numeric_limits<double>::quiet_NaN()}) {
      EXPECT_EQ(all, filtered(sampleBytes, weight).shared) << weight;
    }
    // One weight that differs counts for the rows with that site: every other one.
    for (std::size_t i = 0; i < 108; ++i) {
      std::vector<double> kernels(108, 0.0);
      kernels[i] = -0.0;
      EXPECT_EQ(all / 2, filtered(sampleBytes, kernels).shared) << i;
    }
  }
}

TEST_F(FastWays, theMethodsInDoublesAreEstimated) {
  for (const YuyvMethod method : {YuyvMethod::doubleStudio, YuyvMethod::doubleFull}) {
    expectWork(groups, 0, yuyv(1, method));
    expectWork(groups, 0, yuyv(2, method));
  }
}

TEST_F(FastWays, matricesAreEstimatedWhereTheyHaveABound) {
  expectWork(groups, 0, matrix(1, 0.3));
  expectWork(groups, 0, matrix(2, -0.3));
  for (const double weight : {1e9, -1e300, std::numeric_limits<double>::quiet_NaN()}) {
    expectWork(0, groups, matrix(1, weight));
    expectWork(0, groups, matrix(2, weight));
  }
}

}  // namespace
}  // namespace kvexa::test
