#include "cli/serve/Parts.h"

#include <future>

#include "cli/serve/picture/Analysis.h"

namespace cli::serve {

namespace {

Problem droppedCommand() {
  Problem problem(503, "dropped",
                  "the command was not done: everything was switched off before its turn came");
  return problem;
}

// A result that comes from another thread.
struct Pending {
  explicit Pending(asio::io_context& io) : done(io, asio::steady_timer::time_point::max()) {}

  asio::steady_timer done;
  bool isDone = false;
  Json json;
  std::exception_ptr failure;
  MadePointer made;
};

void finish(const std::shared_ptr<Pending>& pending) {
  pending->isDone = true;
  pending->done.cancel();
}

}  // namespace

Parts::Parts(asio::io_context& io, const ServeOptions& options, TraceRing& trace)
    : io_(io),
      options_(options),
      trace_(trace),
      facts_([this] { factsChanged(); }),
      recordings_(slot_, options.folder, [this] { postChange(); }),
      pictures_(slot_, [this](const FramePointer& frame,
                              const Making& making) { return making_.make(frame, making); }),
      analysis_(slot_, analyse),
      capture_(slot_, [this](const std::exception_ptr& failure) { captureEnded(failure); }),
      board_(options.board, capture_, slot_, facts_),
      queue_([this] { board_.look(); }) {}

Parts::~Parts() { stop(); }

void Parts::start() {
  recordings_.start();
  pictures_.start();
  analysis_.start();
  queue_.start();
  std::promise<void> looked;
  queue_.post([&](bool isDropped) {
    if (!isDropped) board_.look();
    looked.set_value();
  });
  looked.get_future().wait();
}

void Parts::startCapture() {
  queue_.post([this](bool isDropped) {
    if (isDropped) return;
    try {
      board_.startCapture();
    } catch (...) {
      board_.captureEnded(std::current_exception());
    }
  });
}

void Parts::endBoard() {
  queue_.close([this] { board_.shutDown(); });
  recordings_.stop();
}

void Parts::stop() {
  endBoard();
  pictures_.stop();
  analysis_.stop();
}

void Parts::postChange() {
  asio::post(io_, [this] { tellChange(); });
}

void Parts::factsChanged() {
  if (!facts_.get().isRunning) recordings_.endCurrent();
  postChange();
}

void Parts::captureEnded(const std::exception_ptr& failure) {
  queue_.post([this, failure](bool isDropped) {
    if (!isDropped) board_.captureEnded(failure);
  });
}

asio::awaitable<Json> Parts::onBoard(const Work& work, bool isUrgent) {
  const auto pending = std::make_shared<Pending>(io_);
  const auto start = std::chrono::steady_clock::now();
  const CommandQueue::Command command = [this, pending, start, work](bool isDropped) {
    metrics_.noteWait(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    try {
      if (isDropped) throw droppedCommand();
      pending->json = work(board_);
    } catch (...) {
      pending->failure = std::current_exception();
    }
    asio::post(io_, [pending] { finish(pending); });
  };
  isUrgent ? queue_.postUrgent(command) : queue_.post(command);
  boost::system::error_code ignored;
  while (!pending->isDone) {
    co_await pending->done.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
  }
  if (pending->failure) std::rethrow_exception(pending->failure);
  co_return pending->json;
}

asio::awaitable<MadePointer> Parts::made(FrameWorker& worker, std::uint64_t after, Making making,
                                         std::chrono::milliseconds wait) {
  const auto pending = std::make_shared<Pending>(io_);
  pending->done.expires_after(wait);
  const auto want = std::make_shared<const FrameWorker::Want>(
      FrameWorker::Want{after, making, [this, pending](const MadePointer& made) {
                          asio::post(io_, [pending, made] {
                            pending->made = made;
                            finish(pending);
                          });
                        }});
  worker.want(want);
  boost::system::error_code ignored;
  co_await pending->done.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
  worker.forget(want);
  co_return pending->made;
}

std::shared_ptr<void> Parts::listen(Listener listener) {
  auto kept = std::make_shared<Listener>(std::move(listener));
  std::erase_if(listeners_, [](const auto& each) { return each.expired(); });
  listeners_.push_back(kept);
  return kept;
}

void Parts::tellChange() {
  for (const auto& each : listeners_) {
    if (const auto listener = each.lock()) (*listener)();
  }
}

}  // namespace cli::serve
