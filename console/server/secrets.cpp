#include "console/server/secrets.hpp"

#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <sys/random.h>

#include <array>
#include <cstdlib>
#include <limits>

namespace console {

namespace {

std::string hexadecimal(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const char byte : bytes) {
    text += digits[static_cast<unsigned char>(byte) >> 4];
    text += digits[static_cast<unsigned char>(byte) & 15];
  }
  return text;
}

/* Without random numbers nothing of this program is safe. */
template <std::size_t size>
std::array<char, size> random_bytes() {
  std::array<char, size> bytes;
  if (getrandom(bytes.data(), size, 0) != static_cast<ssize_t>(size)) {
    std::abort();
  }
  return bytes;
}

gnutls_datum_t datum_of(std::string_view text) {
  return {reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())),
          static_cast<unsigned int>(text.size())};
}

std::string taken(gnutls_datum_t& datum) {
  std::string text(reinterpret_cast<char*>(datum.data), datum.size);
  gnutls_free(datum.data);
  return text;
}

}  // namespace

std::string random_secret() {
  const auto bytes = random_bytes<32>();
  return hexadecimal({bytes.data(), bytes.size()});
}

std::string random_password() {
  // 32 letters, so that each is drawn with the same probability: 100 bits.
  constexpr std::string_view letters = "23456789abcdefghijkmnpqrstuvwxyz";
  static_assert(letters.size() == 32);
  std::string text;
  int count = 0;
  for (const char byte : random_bytes<20>()) {
    text += count != 0 && count % 4 == 0 ? "-" : "";
    text += letters[static_cast<unsigned char>(byte) % letters.size()];
    ++count;
  }
  return text;
}

std::string sha256(std::string_view text) {
  std::array<char, 32> digest{};
  if (gnutls_hash_fast(GNUTLS_DIG_SHA256, text.data(), text.size(), digest.data()) != 0) {
    std::abort();
  }
  return hexadecimal({digest.data(), digest.size()});
}

bool is_equal_secret(std::string_view one, std::string_view other) {
  return one.size() == other.size() && gnutls_memcmp(one.data(), other.data(), one.size()) == 0;
}

std::string to_base64(std::string_view bytes) {
  const gnutls_datum_t from = datum_of(bytes);
  gnutls_datum_t to{};
  return gnutls_base64_encode2(&from, &to) == 0 ? taken(to) : std::string();
}

std::optional<std::string> from_base64(std::string_view text) {
  if (text.empty()) {
    return std::nullopt;
  }
  const gnutls_datum_t from = datum_of(text);
  gnutls_datum_t to{};
  if (gnutls_base64_decode2(&from, &to) != 0) {
    return std::nullopt;
  }
  return taken(to);
}

}  // namespace console
