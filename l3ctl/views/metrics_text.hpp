/* Numbers in the text formats that monitors read. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "management/health/metrics.hpp"

namespace l3ctl {

/* Prometheus' own text format, version 0.0.4, and OpenMetrics 1.0. */
enum class MetricsFormat : uint8_t { prometheus, openmetrics };

std::string metrics_text(const std::vector<management::Metric>& metrics, MetricsFormat format);

}  // namespace l3ctl
