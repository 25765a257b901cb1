#include "transaction/platform_calls.hpp"

#include "l3_advance/platform.h"

#pragma weak grm_l3_advance_get_vpn_pass_through
#pragma weak grm_l3_advance_set_vpn_pass_through
#pragma weak gpon_l3_control_vpn_pass_through
#pragma weak gpon_l3_set_qos_cfg

namespace transaction {

namespace {

template <typename Result, typename... Arguments>
Result missing(Arguments...) {
  return -1;
}

template <typename Result, typename... Arguments>
auto or_missing(Result (*call)(Arguments...)) -> Result (*)(Arguments...) {
  return call != nullptr ? call : missing<Result, Arguments...>;
}

}  // namespace

management::PlatformCalls platform_calls() {
  return {.get_vpn = or_missing(grm_l3_advance_get_vpn_pass_through),
          .set_vpn = or_missing(grm_l3_advance_set_vpn_pass_through),
          .control_vpn = or_missing(gpon_l3_control_vpn_pass_through),
          .set_qos = or_missing(gpon_l3_set_qos_cfg)};
}

}  // namespace transaction
