#include "l3ctl/views/metrics_text.hpp"

namespace l3ctl {

namespace {

using management::Labels;
using management::Metric;

const char* ending(Metric::Kind kind) {
  switch (kind) {
    case Metric::Kind::counter:
      return "_total";
    case Metric::Kind::info:
      return "_info";
    case Metric::Kind::gauge:
      break;
  }
  return "";
}

/* Only OpenMetrics has a type for what never changes. */
const char* type_name(Metric::Kind kind, MetricsFormat format) {
  if (kind == Metric::Kind::counter) {
    return "counter";
  }
  return kind == Metric::Kind::info && format == MetricsFormat::openmetrics ? "info" : "gauge";
}

/* A value for its quotes. */
std::string quotable(const std::string& value) {
  std::string result;
  for (const char c : value) {
    if (c == '\n') {
      result += "\\n";
      continue;
    }
    result += c == '\\' || c == '"' ? std::string("\\") + c : std::string(1, c);
  }
  return result;
}

std::string labels_text(const Labels& labels) {
  std::string text;
  for (const auto& [name, value] : labels) {
    text += (text.empty() ? "{" : ",") + std::string(name) + "=\"" + quotable(value) + "\"";
  }
  return text.empty() ? "" : text + "}";
}

}  // namespace

std::string metrics_text(const std::vector<Metric>& metrics, MetricsFormat format) {
  std::string text;
  for (const Metric& metric : metrics) {
    const std::string sample = metric.name + ending(metric.kind);
    // OpenMetrics names a family without the ending of its samples.
    const std::string& family = format == MetricsFormat::openmetrics ? metric.name : sample;
    text += "# HELP " + family + " " + metric.help + "\n# TYPE " + family + " " +
            type_name(metric.kind, format) + "\n";
    for (const auto& [labels, value] : metric.samples) {
      text += sample + labels_text(labels) + " " + std::to_string(value) + "\n";
    }
  }
  return text + (format == MetricsFormat::openmetrics ? "# EOF\n" : "");
}

}  // namespace l3ctl
