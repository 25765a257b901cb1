/* A private copy of what is stored, for whoever wants to try something out. */
#pragma once

namespace l3ctl {

/* From now on /ztcfg and /run are copies that nobody else sees, and that end with this process: what is
 * stored, and the platform's state. Ends the program where the system does not allow it. */
void enter_private_copy();

}  // namespace l3ctl
