// A module whose calls are recorded and replayed.
#pragma once

#include "tests/sim/attach/AttachedFixture.h"
// After windows.h.
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "sim/attach/Attachment.h"
#include "sim/attach/Platforms.h"
#include "sim/record/recording/Recorder.h"
#include "sim/record/recording/RecordingPlatform.h"
#include "sim/record/replay/ReplayPlatform.h"

class RecordTest : public testing::Test {
 protected:
  ~RecordTest() override {
    attachment.reset();
    recorder.reset();
    DeleteFileA(path.c_str());
    DeleteFileA((path + ".frames").c_str());
  }

  static std::string contentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
  }

  void startRecording(bool frames = false) {
    sim::record::Recorder::Options options;
    options.path = path;
    options.frames = frames;
    options.isSimulated = true;
    options.writing = sim::record::Recorder::Writing::onDemand;
    recorder = std::make_shared<sim::record::Recorder>(options);
    const std::shared_ptr<const sim::Clock> time(std::shared_ptr<void>(), &machine.clock());
    attachment.emplace(client.module(), sim::record::makeRecordingPlatform(
                                            sim::makeSimulatedPlatform(machine), recorder, time));
  }

  void endRecording() {
    attachment.reset();
    recorder.reset();
  }

  void startReplay(bool isLenient = false) {
    sim::record::Replay::Options options;
    options.isLenient = isLenient;
    options.clock = clock;
    options.depart = [this](const std::string& report) { departures += report; };
    replay =
        std::make_shared<sim::record::Replay>(std::make_shared<const sim::record::Script>(path), options);
    attachment.emplace(client.module(), sim::record::makeReplayPlatform(replay));
  }

  LoadedClient client;
  Host host{client.calls()};
  sim::Machine machine;
  const std::string path = testing::TempDir() + "recording.jsonl";
  const std::shared_ptr<sim::Clock> clock = std::make_shared<sim::Clock>(sim::Pace::simulated);
  std::string departures;
  std::shared_ptr<sim::record::Recorder> recorder;
  std::shared_ptr<sim::record::Replay> replay;
  std::optional<sim::Attachment> attachment;
};
