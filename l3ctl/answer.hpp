/* What becomes of a command whose answer cannot be written. */
#pragma once

namespace l3ctl {

/* From here on a reader that is gone, or a limit on the size of files, makes a write fail instead of ending
 * the program with a signal: after a change the exit status has to say how it ended. */
void survive_lost_answer();

/* Remembers that something was changed, and survives the loss of the answer. */
void note_change_made();

/* Flushes standard output; `status` is how the command ended. Returns the exit status: where the answer is lost,
 * that of a change that was made, or a failure. */
int finish_answer(int status);

}  // namespace l3ctl
