/* Every route there is. console/openapi.yaml describes them, and a test compares both. */
#include <array>

#include "console/server/account_routes.hpp"
#include "console/server/console.hpp"
#include "console/server/gateway_routes.hpp"
#include "console/server/page.hpp"

namespace console {

namespace {

constexpr std::array table = {
    Route{"GET", "/", Need::nothing, page_file},
    Route{"GET", "/app.css", Need::nothing, page_file},
    Route{"GET", "/app.js", Need::nothing, page_file},
    Route{"POST", "/api/v1/session", Need::nothing, log_in},
    Route{"GET", "/api/v1/session", Need::identity, show_session},
    Route{"DELETE", "/api/v1/session", Need::identity, log_out},
    Route{"PUT", "/api/v1/password", Need::identity, change_password},
    Route{"GET", "/api/v1/tokens", Need::account, list_tokens},
    Route{"POST", "/api/v1/tokens", Need::account, make_token},
    Route{"DELETE", "/api/v1/tokens/{id}", Need::account, delete_token},
    Route{"GET", "/api/v1/settings", Need::read, read_settings},
    Route{"GET", "/api/v1/status", Need::read, read_status},
    Route{"GET", "/api/v1/rules", Need::read, read_rules},
    Route{"GET", "/api/v1/health", Need::read, read_health},
    Route{"GET", "/api/v1/devices", Need::read, read_devices},
    Route{"GET", "/api/v1/blocked", Need::read, read_blocked},
    Route{"GET", "/api/v1/metrics", Need::read, read_metrics},
    Route{"GET", "/api/v1/events", Need::read, stream_events},
    Route{"POST", "/api/v1/explain", Need::read, explain},
    Route{"POST", "/api/v1/plan", Need::plan, plan},
    Route{"POST", "/api/v1/apply", Need::apply, apply},
    Route{"POST", "/api/v1/confirm", Need::apply, confirm},
    Route{"POST", "/api/v1/extend", Need::apply, extend},
    Route{"POST", "/api/v1/revert", Need::apply, revert},
    Route{"GET", "/api/v1/history", Need::read, read_history},
    Route{"POST", "/api/v1/undo", Need::apply, undo},
    Route{"GET", "/api/v1/backup", Need::read, make_backup},
    Route{"POST", "/api/v1/restore", Need::apply, restore},
};

}  // namespace

std::span<const Route> routes() {
  return table;
}

}  // namespace console
