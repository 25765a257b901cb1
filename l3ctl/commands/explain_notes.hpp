/* What to know about the verdict on a packet. */
#pragma once

#include "l3ctl/input/gateway_now.hpp"

namespace l3ctl {

/* Appends what is not among the notes yet. */
void add_note(Notes& notes, const std::string& note);

/* Adds what the verdict depends on, and the warnings about settings that the packet passed. */
void add_notes(const settings::Packet& packet, const settings::Verdict& verdict,
               const settings::Settings& settings, Notes& notes);

/* "  note: ..." a line each. */
std::string notes_text(const Notes& notes);

}  // namespace l3ctl
