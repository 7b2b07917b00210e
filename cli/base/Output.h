// What a command tells: lines for people, or one JSON object (one a line where a command goes on).
#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <string>

namespace cli {

struct Failure;

class Output {
 public:
  Output();
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  // The command as its words say it: the first member of every object.
  void begin(const std::string& command, bool json, bool quiet);
  bool isJson() const { return json_; }
  bool isQuiet() const { return quiet_; }

  // A function of the library that was called, with its result: "  kVexaPowerV1On            0", or an
  // element of "calls". Throws CallFailure when the result is negative.
  void step(const std::string& call, std::int32_t result, const std::string& subject = "");
  // The same without the exception.
  void record(const std::string& call, std::int32_t result);

  // Something that belongs to the last step: "    picture                frame.bmp". Not with --quiet.
  void detail(const std::string& what, const std::string& text);

  // A line of the result, for people.
  __attribute__((format(gnu_printf, 2, 3))) void print(const char* pattern, ...);

  // A member of the object, by its place: "supplies/v1/on", "boards/0/type". Texts are in the ANSI code page.
  void put(const std::string& place, const std::string& value);
  void put(const std::string& place, const char* value) { put(place, std::string(value)); }
  void put(const std::string& place, double value);  // what is no number becomes null
  void put(const std::string& place, std::nullptr_t);
  void put(const std::string& place, bool value);
  template <std::integral T>
  requires(!std::same_as<T, bool>) void put(const std::string& place, T value) {
    putInteger(place, static_cast<std::int64_t>(value));
  }
  // The members of a JSON object that was put together elsewhere.
  void putMembers(const std::string& object);
  // What was put so far, as the text of a JSON object without the command; the object is empty then.
  std::string takeMembers();
  // A list that may stay empty.
  void putList(const std::string& place);

  // Ends the object, which becomes a line, and begins the next one. Nothing for people.
  void endLine();

  // The last object.
  void finish();

  // Steps and details are told there too, by an output whose own object becomes part of something else.
  void echoTo(Output* other) { echo_ = other; }

  // The object as it stands, as text. Only in JSON.
  std::string object() const;

  // Whether what was written did not arrive, as when the reader of a pipe has gone.
  bool isReaderGone();

 private:
  struct Object;
  void putInteger(const std::string& place, std::int64_t value);
  void restart();

  std::unique_ptr<Object> object_;
  std::string command_;
  bool json_ = false;
  bool quiet_ = false;
  bool gone_ = false;
  Output* echo_ = nullptr;
  unsigned calls_ = 0;
};

// The member "error" of an object, in which a program finds what went wrong.
void putFailure(Output& output, const Failure& failure);

std::string inOneLine(std::string text);

// A number as people write it: "%.2f" and the like.
__attribute__((format(gnu_printf, 1, 2))) std::string format(const char* pattern, ...);

}  // namespace cli
