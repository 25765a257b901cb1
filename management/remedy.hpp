/*
 * What a person can do about something, as data: which operation, and what it is about. Only the front end knows how
 * its operations are called, so it makes the words.
 */
#pragma once

#include <cstdint>
#include <string>

namespace management {

struct Remedy {
  enum class Kind : uint8_t {
    /* In the order in which several of one finding are to be done. */
    make_chains,        /* start again */
    make_rules,         /* switch the firewall on once more; `about`: "on" or "off" */
    toggle_dhcp_filter, /* to set what is stored already would change nothing; `about`: what it is now */
    toggle_ipsec,
    bind_wan, /* `about`: the Internet WAN, or empty */
    list_drift,

    start_up,             /* makes the chains */
    start_at_boot,        /* the same, at every boot */
    start_up_rolls_back,  /* restores what another start of the machine left unconfirmed */
    dhcp_filter_off_on,   /* brings the DHCP filter's rules back */
    bind_rules,           /* to the Internet WAN */
    connect_wan,          /* and bind the rules */
    save_rules,           /* by switching the firewall on */
    save_rules_anew,      /* the same, where saved rules are of no use */
    inspect,              /* tells all about the configuration file */
    inspect_all,          /* lists every finding */
    inspect_unsafe,       /* says what to do about text that a shell could run */
    mend_damage,          /* inspect, restore, or force the change */
    restore_backup,       /* `about`: the file */
    restore_other_backup, /* one from elsewhere */
    list_warnings,        /* of the stored settings */
    wait_longer,          /* another change holds the lock */
    confirm_or_revert,    /* what is pending */
    confirm,
    revert,
    confirm_in_time, /* confirm or revert, while there is time */
    shift_spans,     /* by the clock of their zone, and at every boot and hour */
    picture,         /* the operation that draws the rules */
    one_build,       /* install program and library from one build */
  };
  Kind kind;
  std::string about = {};
};

/* Makes the words of a front end for one remedy. */
using RemedyWords = std::string (*)(const Remedy& remedy);

/* Sets the words of the process. Without them messages name no remedy. */
void set_remedy_words(RemedyWords words);

/* The remedy in the front end's words, as a part of a message. */
std::string worded(const Remedy& remedy);

/* "; " and the words; nothing where there are none. */
std::string and_remedy(Remedy::Kind kind);

}  // namespace management
