/* Random numbers, digests and their comparison. */
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace console {

/* 256 bits of the kernel's random numbers in hexadecimal. */
std::string random_secret();

/* A password to be typed once: five groups of four letters and digits, none of which looks like
 another. */
std::string random_password();

/* In hexadecimal. */
std::string sha256(std::string_view text);

/* In a time that says nothing about where they differ. */
bool is_equal_secret(std::string_view one, std::string_view other);

std::string to_base64(std::string_view bytes);
std::optional<std::string> from_base64(std::string_view text);

}  // namespace console
