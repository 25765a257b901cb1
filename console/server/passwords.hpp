/* Passwords, hashed by the system's crypt(3). */
#pragma once

#include <string>

namespace console {

/* yescrypt with a salt of its own. */
std::string hash_password(const std::string& password);

/* Takes as long for a wrong password, and where there is no hash, as for the right one. */
bool is_password(const std::string& password, const std::string& hash);

/* Why it must not be used; empty where it may. */
std::string fault_of_password(const std::string& password);

}  // namespace console
