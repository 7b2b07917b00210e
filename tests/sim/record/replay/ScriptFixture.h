// Recordings that are written by hand.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "sim/record/replay/Script.h"

class ScriptTest : public testing::Test {
 protected:
  ~ScriptTest() override {
    for (const char* ending : {"", ".frames"}) {
      DeleteFileA((path + ending).c_str());
      DeleteFileA((other + ending).c_str());
    }
  }

  static void write(const std::string& file, const std::string& content) {
    std::ofstream(file, std::ios::binary) << content;
  }

  static std::string contentOf(const std::string& file) {
    const std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
  }

  // Lines without their heading, their order and their closing braces: "call":"open","thread":1 and so on.
  std::shared_ptr<const sim::record::Script> scriptOf(std::initializer_list<const char*> lines) {
    std::string text = R"({"recording":1,"program":"p.exe","frames":true})"
                       "\n";
    unsigned order = 0;
    for (const char* const line : lines) {
      text += "{" + std::string(line) + ",\"n\":" + std::to_string(order + 1) +
              ",\"e\":" + std::to_string(order + 2) + "}\n";
      order += 2;
    }
    write(path, text + "{\"call\":\"end\",\"a\":" + std::to_string(lines.size()) + "}\n");
    return std::make_shared<const sim::record::Script>(path);
  }

  const std::string path = testing::TempDir() + "by_hand.jsonl";
  const std::string other = testing::TempDir() + "other.jsonl";
};
