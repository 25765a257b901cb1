/* The privileges that the server drops before it reads the first byte of a client. */
#pragma once

#include <string>

namespace console {

/* The user's rights, an empty root, and limits of resources. Throws std::runtime_error where any of
 * it fails: the server does not run with more. */
void drop_privileges(const std::string& user, const std::string& root);

/* From now on only the system calls that serving needs. */
void restrict_system_calls();

}  // namespace console
