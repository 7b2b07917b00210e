#include "cli/serve/api/Metrics.h"

#include "cli/base/Output.h"
#include "cli/serve/Parts.h"
#include "cli/serve/api/Body.h"
#include "cli/serve/api/Routes.h"

namespace cli::serve {

namespace {

constexpr unsigned firstFailure = 400;

void family(std::string& text, std::string_view name, std::string_view type, std::string_view help,
            std::string_view unit = {}) {
  text.append("# TYPE ").append(name).append(" ").append(type).append("\n");
  if (!unit.empty()) text.append("# UNIT ").append(name).append(" ").append(unit).append("\n");
  text.append("# HELP ").append(name).append(" ").append(help).append("\n");
}

void sample(std::string& text, std::string_view name, std::string_view labels, const std::string& value) {
  text.append(name).append(labels).append(" ").append(value).append("\n");
}

struct Counter {
  const char* name;
  const char* help;
  std::uint64_t value;
};

void write(std::string& text, const Counter& counter) {
  family(text, counter.name, "counter", counter.help);
  sample(text, std::string(counter.name) + "_total", "", std::to_string(counter.value));
}

struct Gauge {
  const char* name;
  const char* help;
  double value;
};

void write(std::string& text, const Gauge& gauge) {
  family(text, gauge.name, "gauge", gauge.help);
  sample(text, gauge.name, "", format("%g", gauge.value));
}

}  // namespace

void Durations::add(double seconds) {
  std::size_t bin = 0;
  while (bin < bounds.size() && seconds > bounds[bin]) ++bin;
  ++counts_[bin];
  sum_ += seconds;
}

void Durations::write(std::string& text, std::string_view name) const {
  std::uint64_t count = 0;
  const std::string bucket = std::string(name) + "_bucket";
  for (std::size_t i = 0; i < bounds.size(); ++i) {
    count += counts_[i];
    sample(text, bucket, format("{le=\"%.3f\"}", bounds[i]), std::to_string(count));
  }
  count += counts_.back();
  sample(text, bucket, "{le=\"+Inf\"}", std::to_string(count));
  sample(text, std::string(name) + "_count", "", std::to_string(count));
  sample(text, std::string(name) + "_sum", "", format("%.6f", sum_));
}

void Metrics::noteAnswer(const std::string& path, unsigned status, double seconds) {
  const std::lock_guard lock(mutex_);
  ++answers_[{path, status}];
  if (status >= firstFailure) ++failures_;
  answering_.add(seconds);
}

void Metrics::noteWait(double seconds) {
  const std::lock_guard lock(mutex_);
  waiting_.add(seconds);
}

std::string Metrics::text(Parts& parts) const {
  const CaptureCounts counts = parts.capture().counts();
  const Facts facts = parts.facts().get();
  std::string text;
  write(text, Counter{"kvexa_frames", "Frames that were captured.", counts.frames});
  write(text, Counter{"kvexa_frames_lost", "Frames that the sensor sent and nobody got.", counts.lost});
  write(text, Counter{"kvexa_frames_failed", "Frames that did not come in time.", counts.failed});
  write(text,
        Counter{"kvexa_encodings", "Pictures that were made for those who look.", parts.pictures().made()});
  write(text,
        Counter{"kvexa_analyses", "Analyses that were made for those who look.", parts.analysis().made()});
  write(text, Counter{"kvexa_driver_requests", "Requests to the board's driver.", parts.trace().last()});
  write(text,
        Counter{"kvexa_driver_failures", "Requests that the driver refused.", parts.trace().failures()});
  const std::lock_guard lock(mutex_);
  family(text, "kvexa_requests", "counter", "Requests over HTTP that were answered.");
  for (const auto& [key, count] : answers_) {
    sample(text, "kvexa_requests_total",
           "{path=\"" + key.first + "\",status=\"" + std::to_string(key.second) + "\"}",
           std::to_string(count));
  }
  write(text,
        Counter{"kvexa_request_failures", "Requests over HTTP that were refused or failed.", failures_});
  family(text, "kvexa_request_seconds", "histogram", "From a request to its answer.", "seconds");
  answering_.write(text, "kvexa_request_seconds");
  family(text, "kvexa_wait_seconds", "histogram", "How long commands waited for the board.", "seconds");
  waiting_.write(text, "kvexa_wait_seconds");
  write(text, Gauge{"kvexa_board_connected", "Whether the board is there.", facts.isConnected ? 1.0 : 0.0});
  write(text, Gauge{"kvexa_capture_running", "Whether the capture runs.", facts.isRunning ? 1.0 : 0.0});
  write(text, Gauge{"kvexa_frame_rate", "Frames a second, of the last ones.", counts.rate});
  return text + "# EOF\n";
}

asio::awaitable<Answer> getMetrics(Parts& parts, Request request) {
  Query(request.query).end();
  Answer answer;
  answer.type = "application/openmetrics-text; version=1.0.0; charset=utf-8";
  answer.text = parts.metrics().text(parts);
  co_return answer;
}

}  // namespace cli::serve
