/* What a change would do, for people and programs. */
#pragma once

#include "l3ctl/context.hpp"
#include "management/change/plan.hpp"

namespace l3ctl {

/* Returns the exit status: whether there is anything to do. */
int print_plan(const Context& context, const Plan& plan);

}  // namespace l3ctl
