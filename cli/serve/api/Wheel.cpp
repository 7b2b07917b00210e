#include "cli/serve/api/Wheel.h"

namespace cli::serve {

namespace {

constexpr std::chrono::seconds patience{10};

}  // namespace

void Wheel::note(const std::string& client) {
  if (holder_ && holder_->client == client) heard_ = Clock::now();
}

void Wheel::attend(const std::string& client) {
  ++here_[client];
  note(client);
}

void Wheel::leave(const std::string& client) {
  note(client);
  const auto found = here_.find(client);
  if (found != here_.end() && --found->second == 0) here_.erase(found);
}

bool Wheel::isSilent() const { return !here_.contains(holder_->client) && Clock::now() - heard_ > patience; }

void Wheel::refuse() const {
  Problem problem(409, "wheel-held",
                  holder_->shown() + " holds the wheel: only one client at a time changes things");
  problem.advice = "ask for the wheel (POST /api/v1/wheel, action ask), or take it when its holder is silent";
  throw problem;
}

void Wheel::seat(const std::string& client, const std::optional<std::string>& name) {
  const bool isSame = holder_ && holder_->client == client;
  holder_ = Seat{client, name || !isSame ? name : holder_->name};
  if (asker_ && asker_->client == client) asker_.reset();
  heard_ = Clock::now();
}

void Wheel::require(const std::string& client) {
  if (holder_ && holder_->client != client) refuse();
  if (!holder_) seat(client, std::nullopt);
}

void Wheel::take(const std::string& client, const std::optional<std::string>& name) {
  if (holder_ && holder_->client != client && !isSilent()) refuse();
  seat(client, name);
}

void Wheel::ask(const std::string& client, const std::optional<std::string>& name) {
  if (!holder_ || holder_->client == client) return seat(client, name);
  asker_ = Seat{client, name};
}

void Wheel::give(const std::string& client) {
  if (holder_ && holder_->client != client) refuse();
  holder_.reset();
  if (!asker_) return;
  const Seat next = *asker_;
  seat(next.client, next.name);
}

Json Wheel::stateFor(const std::string& client) const {
  Json state{{"held", holder_.has_value()},
             {"mine", holder_.has_value() && !client.empty() && holder_->client == client},
             {"name", nullptr},
             {"asked", nullptr}};
  if (holder_ && holder_->name) state["name"] = *holder_->name;
  if (asker_) state["asked"] = asker_->shown();
  return state;
}

}  // namespace cli::serve
