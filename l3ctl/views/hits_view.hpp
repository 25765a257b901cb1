/* Counters by setting, for people and programs. */
#pragma once

#include <vector>

#include "l3ctl/context.hpp"
#include "management/rules/hits.hpp"

namespace l3ctl {

void print_hits(const Context& context, const std::vector<Hits>& hits);

}  // namespace l3ctl
