#include "console/server/state.hpp"

#include <array>
#include <nlohmann/json.hpp>

namespace console {

namespace {

using Json = nlohmann::json;

constexpr std::array<std::string_view, 3> scope_names = {"read", "plan", "apply"};

std::string text_in(const Json& object, const char* name) {
  const auto member = object.find(name);
  return member != object.end() && member->is_string() ? member->get<std::string>() : std::string();
}

}  // namespace

std::string_view name_of(Scope scope) {
  return scope_names[static_cast<std::size_t>(scope)];
}

std::optional<Scope> scope_of(std::string_view name) {
  for (std::size_t index = 0; index < scope_names.size(); ++index) {
    if (scope_names[index] == name) {
      return static_cast<Scope>(index);
    }
  }
  return std::nullopt;
}

std::string to_text(const State& state) {
  Json tokens = Json::array();
  for (const Token& token : state.tokens) {
    tokens.push_back({{"id", token.id},
                      {"name", token.name},
                      {"hash", token.hash},
                      {"scope", name_of(token.scope)}});
  }
  return Json{{"password", state.password},
              {"must_change_password", state.must_change_password},
              {"tokens", tokens}}
      .dump();
}

std::optional<State> state_of(const std::string& text) {
  const Json object = Json::parse(text, nullptr, false);
  if (!object.is_object() || !object.contains("tokens") || !object["tokens"].is_array()) {
    return std::nullopt;
  }
  State state;
  state.password = text_in(object, "password");
  // A state that does not say so is none of ours.
  state.must_change_password = object.value("must_change_password", Json()) != Json(false);
  for (const Json& one : object["tokens"]) {
    const auto scope = one.is_object() ? scope_of(text_in(one, "scope")) : std::nullopt;
    if (!scope) {
      return std::nullopt;
    }
    state.tokens.push_back(
        {text_in(one, "id"), text_in(one, "name"), text_in(one, "hash"), *scope});
  }
  return state;
}

}  // namespace console
