/* The table of the commands: the name of each, the function that adds it to the parser, how it may end. */
#pragma once

#include <cstdint>
#include <span>

#include "l3ctl/commands.hpp"

namespace l3ctl {

/* What a command does to the gateway; the meaning of its exit statuses follows from it. */
enum class Effect : uint8_t {
  shows,    /* only reads */
  waits,    /* only reads, while no change is at work */
  plans,    /* as `compares`, but not while a change is at work or pending */
  compares, /* only reads, and answers by its exit status whether there is something to change */
  changes,  /* settings or rules; its verbs that list or show only read */
};

/* What a command that changes something offers besides. */
enum class Offers : uint8_t {
  nothing, /* it changes no settings and no rules */
  who,     /* a name for the history */
  dry_run, /* and a dry run: there is nothing that it could take back */
  all,     /* and a rollback unless it is confirmed */
};

struct Command {
  const char* name;
  AddCommand add;
  Effect effect;
  /* What exit status 3 of this command means; null where it never ends so. */
  const char* status_three;
  Offers offers = Offers::all;
};

/* All commands, in the order of the help. */
std::span<const Command> commands();

/* Status 3 of a command whose rules the packet filter refused. */
inline constexpr char rules_refused[] =
    "the packet filter refused a rule; everything is as it was before";

}  // namespace l3ctl
