#include "management/error.hpp"

namespace management {

namespace {

NoticeSink notice_sink = nullptr;

}  // namespace

void set_notice_sink(NoticeSink sink) {
  notice_sink = sink;
}

void notify(const std::string& text, Severity severity) {
  if (notice_sink != nullptr) {
    notice_sink(severity, text);
  }
}

}  // namespace management
