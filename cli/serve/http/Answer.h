// What a request asks, and what is answered.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/serve/http/Asio.h"
#include "cli/serve/http/Problem.h"

namespace cli::serve {

using Bytes = std::vector<std::uint8_t>;
using BytesPointer = std::shared_ptr<const Bytes>;

struct Request {
  std::string method;
  std::string path;
  std::string query;   // behind the question mark, as it came
  std::string client;  // who asks; empty when it does not say
  std::string id;      // of a path with one
  std::string host;
  std::string body;
};

struct Piece {
  std::string head;
  BytesPointer bytes;
};

// An answer that comes piece by piece.
class PieceSource {
 public:
  PieceSource() = default;
  virtual ~PieceSource() = default;
  PieceSource(const PieceSource&) = delete;
  PieceSource& operator=(const PieceSource&) = delete;

  // Nothing at the end.
  virtual asio::awaitable<std::optional<Piece>> next() = 0;
};

struct Answer {
  unsigned status = 200;
  std::string type;
  std::vector<std::pair<std::string, std::string>> fields;
  std::string text;
  BytesPointer bytes;  // instead of the text
  std::shared_ptr<PieceSource> pieces;
  std::optional<std::uint64_t> length;  // of the pieces; without it the connection's end is theirs
};

Answer answerOf(const Json& json);
Answer answerOf(const Problem& problem);

}  // namespace cli::serve
