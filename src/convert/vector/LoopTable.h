// The table of the loops of a set, made at compile time, so that no code of the set runs before the set has
// been chosen. Included after a vocabulary.
#pragma once

#include "convert/vector/BayerLoops.h"
#include "convert/vector/FilterLoops.h"
#include "convert/vector/YuyvDoubleLoops.h"

namespace kvexa::convert {
namespace {

constexpr RowLoops makeRowLoops() {
  constexpr Packing words565 = Packing::rgb565, bytes888 = Packing::rgb888;
  return {
      .bayer8 = {{{bayer8<words565, false, false>, bayer8<words565, false, true>},
                  {bayer8<words565, true, false>, bayer8<words565, true, true>}},
                 {{bayer8<bytes888, false, false>, bayer8<bytes888, false, true>},
                  {bayer8<bytes888, true, false>, bayer8<bytes888, true, true>}}},
      .bayer16 =
          {{{{bayer16<NarrowMeans, words565, false, false>, bayer16<NarrowMeans, words565, false, true>},
             {bayer16<NarrowMeans, words565, true, false>, bayer16<NarrowMeans, words565, true, true>}},
            {{bayer16<NarrowMeans, bytes888, false, false>, bayer16<NarrowMeans, bytes888, false, true>},
             {bayer16<NarrowMeans, bytes888, true, false>, bayer16<NarrowMeans, bytes888, true, true>}}},
           {{{bayer16<WideMeans, words565, false, false>, bayer16<WideMeans, words565, false, true>},
             {bayer16<WideMeans, words565, true, false>, bayer16<WideMeans, words565, true, true>}},
            {{bayer16<WideMeans, bytes888, false, false>, bayer16<WideMeans, bytes888, false, true>},
             {bayer16<WideMeans, bytes888, true, false>, bayer16<WideMeans, bytes888, true, true>}}}},
      .combinedBits16 = combinedBits16,
      .yuyvInteger8 =
          {{{yuyvInteger8<Studio8, YuyvOrder::lumaFirst, 10>, yuyvInteger8<Studio8, YuyvOrder::lumaFirst, 11>,
             yuyvInteger8<Studio8, YuyvOrder::lumaFirst, 12>},
            {yuyvInteger8<Studio8, YuyvOrder::chromaFirst, 10>,
             yuyvInteger8<Studio8, YuyvOrder::chromaFirst, 11>,
             yuyvInteger8<Studio8, YuyvOrder::chromaFirst, 12>}},
           {{yuyvInteger8<Full8, YuyvOrder::lumaFirst, 10>, yuyvInteger8<Full8, YuyvOrder::lumaFirst, 11>,
             yuyvInteger8<Full8, YuyvOrder::lumaFirst, 12>},
            {yuyvInteger8<Full8, YuyvOrder::chromaFirst, 10>, yuyvInteger8<Full8, YuyvOrder::chromaFirst, 11>,
             yuyvInteger8<Full8, YuyvOrder::chromaFirst, 12>}}},
      .yuyvInteger16 = {{yuyvInteger16<YuyvOrder::lumaFirst, 10>, yuyvInteger16<YuyvOrder::lumaFirst, 11>,
                         yuyvInteger16<YuyvOrder::lumaFirst, 12>},
                        {yuyvInteger16<YuyvOrder::chromaFirst, 10>, yuyvInteger16<YuyvOrder::chromaFirst, 11>,
                         yuyvInteger16<YuyvOrder::chromaFirst, 12>}},
      .yuyvDouble = {{{yuyvDouble<RangeEquation, std::uint8_t, YuyvOrder::lumaFirst, 10>,
                       yuyvDouble<RangeEquation, std::uint8_t, YuyvOrder::lumaFirst, 11>,
                       yuyvDouble<RangeEquation, std::uint8_t, YuyvOrder::lumaFirst, 12>},
                      {yuyvDouble<RangeEquation, std::uint8_t, YuyvOrder::chromaFirst, 10>,
                       yuyvDouble<RangeEquation, std::uint8_t, YuyvOrder::chromaFirst, 11>,
                       yuyvDouble<RangeEquation, std::uint8_t, YuyvOrder::chromaFirst, 12>}},
                     {{yuyvDouble<RangeEquation, std::uint16_t, YuyvOrder::lumaFirst, 10>,
                       yuyvDouble<RangeEquation, std::uint16_t, YuyvOrder::lumaFirst, 11>,
                       yuyvDouble<RangeEquation, std::uint16_t, YuyvOrder::lumaFirst, 12>},
                      {yuyvDouble<RangeEquation, std::uint16_t, YuyvOrder::chromaFirst, 10>,
                       yuyvDouble<RangeEquation, std::uint16_t, YuyvOrder::chromaFirst, 11>,
                       yuyvDouble<RangeEquation, std::uint16_t, YuyvOrder::chromaFirst, 12>}}},
      .yuyvMatrix = {{{yuyvDouble<MatrixEquation, std::uint8_t, YuyvOrder::lumaFirst, 10>,
                       yuyvDouble<MatrixEquation, std::uint8_t, YuyvOrder::lumaFirst, 11>,
                       yuyvDouble<MatrixEquation, std::uint8_t, YuyvOrder::lumaFirst, 12>},
                      {yuyvDouble<MatrixEquation, std::uint8_t, YuyvOrder::chromaFirst, 10>,
                       yuyvDouble<MatrixEquation, std::uint8_t, YuyvOrder::chromaFirst, 11>,
                       yuyvDouble<MatrixEquation, std::uint8_t, YuyvOrder::chromaFirst, 12>}},
                     {{yuyvDouble<MatrixEquation, std::uint16_t, YuyvOrder::lumaFirst, 10>,
                       yuyvDouble<MatrixEquation, std::uint16_t, YuyvOrder::lumaFirst, 11>,
                       yuyvDouble<MatrixEquation, std::uint16_t, YuyvOrder::lumaFirst, 12>},
                      {yuyvDouble<MatrixEquation, std::uint16_t, YuyvOrder::chromaFirst, 10>,
                       yuyvDouble<MatrixEquation, std::uint16_t, YuyvOrder::chromaFirst, 11>,
                       yuyvDouble<MatrixEquation, std::uint16_t, YuyvOrder::chromaFirst, 12>}}},
      .filter = {{filterRow<1, words565>, filterRow<1, bytes888>},
                 {filterRow<2, words565>, filterRow<2, bytes888>}},
      .filterExactly = {{filterRowExactly<1, words565>, filterRowExactly<1, bytes888>},
                        {filterRowExactly<2, words565>, filterRowExactly<2, bytes888>}},
      .widenSamples = {widenSamples<1>, widenSamples<2>},
      .widenToDoubles = widenToDoubles,
  };
}

}  // namespace
}  // namespace kvexa::convert
