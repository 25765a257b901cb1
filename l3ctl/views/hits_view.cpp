#include "l3ctl/views/hits_view.hpp"

#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "l3ctl/views/json_output.hpp"
#include "management/system/text.hpp"

namespace l3ctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr size_t number_width = 12;

std::string right(const std::string& text) {
  return std::string(text.size() < number_width ? number_width - text.size() : 1, ' ') + text;
}

}  // namespace

void print_hits(const Context& context, const std::vector<Hits>& hits) {
  Json list = Json::array();
  size_t width = 7;
  for (const Hits& one : hits) {
    list.push_back({{"setting", one.setting},
                    {"packets", one.counters.packets},
                    {"bytes", one.counters.bytes}});
    width = std::max(width, one.setting.size());
  }
  if (context.json) {
    print_json({{"hits", list}});
    return;
  }
  std::cout << padded("setting", width) << right("packets") << right("bytes") << '\n';
  for (const Hits& one : hits) {
    std::cout << padded(one.setting, width) << right(std::to_string(one.counters.packets))
              << right(std::to_string(one.counters.bytes)) << '\n';
  }
}

}  // namespace l3ctl
