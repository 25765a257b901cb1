#include "console/server/passwords.hpp"

#include <crypt.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "console/server/http.hpp"
#include "console/server/secrets.hpp"

namespace console {

namespace {

constexpr std::size_t shortest = 12;
/* crypt(3) takes no more than 511 bytes. */
constexpr std::size_t longest = 256;

/* Words that everyone tries on a gateway. */
constexpr std::array<std::string_view, 12> usual_words = {
    "password", "passwort", "administrator", "admin",   "gateway", "router",
    "internet", "firewall", "qwerty",        "welcome", "letmein", "changeme"};

std::string crypted(const std::string& password, const std::string& setting) {
  // 32 KiB: too much for the stack of every caller.
  const auto data = std::make_unique<crypt_data>();
  const char* hash = crypt_r(password.c_str(), setting.c_str(), data.get());
  return hash == nullptr || hash[0] == '*' ? std::string() : std::string(hash);
}

/* "abcabcabcabc", "aaaaaaaaaaaa": a beginning of up to a third again and again. */
bool is_repetition(std::string_view text) {
  for (std::size_t period = 1; period <= text.size() / 3; ++period) {
    if (text.substr(period) == text.substr(0, text.size() - period)) {
      return true;
    }
  }
  return false;
}

/* "abcdefghijkl", "123456789012", "ponmlkjihgfe" */
bool is_sequence(std::string_view text) {
  std::size_t steps = 0;
  for (std::size_t at = 1; at < text.size(); ++at) {
    const int step = text[at] - text[at - 1];
    steps += step == 1 || step == -1 || step == -9 || step == 9 ? 1 : 0;
  }
  return steps + 2 >= text.size();
}

/* A usual word with digits and signs around it. */
bool is_usual_word(std::string_view text) {
  std::string letters;
  std::copy_if(text.begin(), text.end(), std::back_inserter(letters),
               [](char c) { return c >= 'a' && c <= 'z'; });
  std::string_view rest = letters;
  for (const std::string_view word : usual_words) {
    while (starts_with(rest, word)) {
      rest.remove_prefix(word.size());
    }
  }
  return !letters.empty() && rest.empty();
}

}  // namespace

std::string hash_password(const std::string& password) {
  std::array<char, CRYPT_GENSALT_OUTPUT_SIZE> setting{};
  const std::string salt = random_secret();
  if (crypt_gensalt_rn("$y$", 0, salt.data(), 16, setting.data(), setting.size()) == nullptr) {
    return {};
  }
  return crypted(password, setting.data());
}

bool is_password(const std::string& password, const std::string& hash) {
  // Of no password: it costs what another costs.
  static const char* const none = "$y$j9T$F5Jx5fExrKuPp53xLKQ..1$";
  const std::string own = crypted(password, hash.empty() ? none : hash);
  return !hash.empty() && !own.empty() && is_equal_secret(own, hash);
}

std::string fault_of_password(const std::string& password) {
  const std::string lower = lower_case(password);
  if (password.size() < shortest) {
    return "a password has at least 12 characters";
  }
  if (password.size() > longest || password.find('\0') != std::string::npos) {
    return "a password has at most 256 bytes, none of them zero";
  }
  if (is_repetition(lower) || is_sequence(lower)) {
    return "this password is a repetition or a sequence";
  }
  return is_usual_word(lower) ? "this password is a usual word" : std::string();
}

}  // namespace console
