/* A shift of time spans as a process of its own, for a process that has made another change or will make one. */
#pragma once

#include "management/options.hpp"

namespace management {

/* Shifts the spans. Throws where that fails. */
void shift_in_own_process(const Options& options);

/* Completes a shift that ended before all was done, so that a change of the lists finds one offset. */
void complete_begun_shift(const Options& options);

}  // namespace management
