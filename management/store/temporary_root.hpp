/* A private copy of the store, in which a plan runs the library. */
#pragma once

namespace management {

/* From now on /ztcfg and /run are copies that nobody else sees, and that end with this process: what is
 * stored, and the platform's state. Ends the program where the system does not allow it. */
void enter_temporary_root();

}  // namespace management
