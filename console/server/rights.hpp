/* What is given up before the first byte of a client is read. */
#pragma once

#include <string>

namespace console {

/* The user's rights, an empty root, and limits of resources. Throws std::runtime_error where any of
 * it fails: the server does not run with more. */
void give_up_rights(const std::string& user, const std::string& root);

/* From now on only the system calls that serving needs. */
void restrict_system_calls();

}  // namespace console
