/* What the console keeps over a restart: the password's hash and the tokens. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace console {

/* What a token may do; each may do what those before it may. */
enum class Scope : std::uint8_t { read, plan, apply };

std::string_view name_of(Scope scope);
std::optional<Scope> scope_of(std::string_view name);

struct Token {
  std::string id; /* of the record, not the secret */
  std::string name;
  std::string hash; /* SHA-256 of the secret */
  Scope scope = Scope::read;
};

struct State {
  std::string password; /* as crypt(3) writes it; empty before the first one */
  bool must_change_password = false;
  std::vector<Token> tokens;
};

/* Where it is kept. */
class StateStore {
 public:
  StateStore() = default;
  StateStore(const StateStore&) = delete;
  StateStore& operator=(const StateStore&) = delete;
  virtual ~StateStore() = default;
  [[nodiscard]] virtual State read() const = 0;
  /* False where it could not be written; then the old state stands. */
  virtual bool write(const State& state) = 0;
};

/* As text, at most `largest_state` bytes; what is no such text is nothing. */
inline constexpr std::size_t largest_state = 8192;
std::string to_text(const State& state);
std::optional<State> state_of(const std::string& text);

}  // namespace console
