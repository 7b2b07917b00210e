#include "cli/base/Output.h"

#include <kvexa.hpp>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "cli/base/Failure.h"
#include "cli/base/Paths.h"

namespace cli {

namespace {

using Json = nlohmann::ordered_json;

std::string textOf(const Json& json) { return json.dump(-1, ' ', false, Json::error_handler_t::replace); }

std::string formatted(const char* pattern, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int length = __mingw_vsnprintf(nullptr, 0, pattern, arguments);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  __mingw_vsnprintf(text.data(), text.size() + 1, pattern, again);
  va_end(again);
  return text;
}

}  // namespace

struct Output::Object {
  Json json = Json::object();
  Json& at(const std::string& place) { return json[Json::json_pointer("/" + place)]; }
};

Output::Output() : object_(std::make_unique<Object>()) {}
Output::~Output() = default;

void Output::begin(const std::string& command, bool json, bool quiet) {
  command_ = command;
  json_ = json;
  quiet_ = quiet;
  restart();
}

void Output::putMembers(const std::string& object) {
  if (json_) object_->json.update(Json::parse(object));
}

std::string Output::takeMembers() {
  object_->json.erase("command");
  std::string text = object_->json.dump(-1, ' ', false, Json::error_handler_t::replace);
  restart();
  return text;
}

void Output::restart() {
  object_->json = Json::object();
  object_->json["command"] = command_;
  calls_ = 0;
}

void Output::record(const std::string& call, std::int32_t result) {
  if (echo_ != nullptr) echo_->record(call, result);
  if (quiet_) return;
  if (json_) {
    const std::string place = "calls/" + std::to_string(calls_++);
    put(place + "/call", call);
    put(place + "/result", result);
    return;
  }
  print("  %-24s %d\n", call.c_str(), result);
}

void Output::step(const std::string& call, std::int32_t result, const std::string& subject) {
  record(call, result);
  require(call, result, subject);
}

void Output::detail(const std::string& what, const std::string& text) {
  if (echo_ != nullptr) echo_->detail(what, text);
  if (!quiet_) print("    %-22s %s\n", what.c_str(), text.c_str());
}

void Output::print(const char* pattern, ...) {
  if (json_) return;
  std::va_list arguments;
  va_start(arguments, pattern);
  const std::string text = formatted(pattern, arguments);
  va_end(arguments);
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) gone_ = true;
}

void Output::put(const std::string& place, const std::string& value) {
  if (json_) object_->at(place) = toUtf8(value);
}

void Output::put(const std::string& place, double value) {
  if (!json_) return;
  if (std::isfinite(value)) {
    object_->at(place) = value;
  } else {
    object_->at(place) = nullptr;
  }
}

void Output::put(const std::string& place, std::nullptr_t) {
  if (json_) object_->at(place) = nullptr;
}

void Output::put(const std::string& place, bool value) {
  if (json_) object_->at(place) = value;
}

void Output::putInteger(const std::string& place, std::int64_t value) {
  if (json_) object_->at(place) = value;
}

void Output::putList(const std::string& place) {
  if (json_ && object_->at(place).is_null()) object_->at(place) = Json::array();
}

void Output::endLine() {
  if (!json_) return;
  const std::string text = textOf(object_->json) + "\n";
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) gone_ = true;
  restart();
}

std::string Output::object() const { return textOf(object_->json); }

void Output::finish() {
  endLine();
  isReaderGone();
}

bool Output::isReaderGone() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) gone_ = true;
  return gone_;
}

void putFailure(Output& output, const Failure& failure) {
  const auto* const call = dynamic_cast<const CallFailure*>(&failure);
  const kvexa::ResultText* const known = call == nullptr ? nullptr : kvexa::findResult(call->result);
  if (call != nullptr) {
    output.put("error/call", call->call);
    output.put("error/code", call->result);
  } else {
    output.put("error/call", nullptr);
    output.put("error/code", nullptr);
  }
  output.put("error/name", known == nullptr ? nameOf(failure.exitCode) : known->name);
  output.put("error/text", inOneLine(failure.what()));
  output.put("error/advice", failure.advice);
  output.put("error/exit", static_cast<int>(failure.exitCode));
}

std::string inOneLine(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  return text;
}

std::string format(const char* pattern, ...) {
  std::va_list arguments;
  va_start(arguments, pattern);
  std::string text = formatted(pattern, arguments);
  va_end(arguments);
  return text;
}

}  // namespace cli
