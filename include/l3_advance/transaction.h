/**
 * @file
 * Transactions around the library's calls, for a device's own programs: all rules of a change are
 * made at once, or nothing is changed at all.
 *
 *     if (l3_transaction_begin(NULL) == L3_TRANSACTION_OK) {
 *       l3_transaction_report report;
 *       gl3_web_set_fw_status(1);
 *       gl3_web_set_firewall_cfg(&filter);
 *       if (l3_transaction_commit(&report) != L3_TRANSACTION_OK) {
 *         fprintf(stderr, "%s: %s\n", report.line, report.message);
 *       }
 *     }
 *
 * These calls are libl3_transaction's, not libl3_advance's (pkg-config: l3_transaction). That library
 * defines system() for the process. While a transaction is open, command lines that start with
 * iptables, ip6tables, or one of their -save and -restore tools, and that come from the thread which
 * opened it, are collected. Every other line goes to the C library's system().
 *
 * A transaction holds the lock of l3ctl, so that neither another process nor l3ctl changes settings
 * meanwhile. Its thread runs with all signals blocked and without cancellation until it ends: do
 * nothing that takes long. No C++ exception leaves these calls.
 */
#ifndef L3_ADVANCE_TRANSACTION_H
#define L3_ADVANCE_TRANSACTION_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** What the calls return. */
enum {
  L3_TRANSACTION_OK = 0,
  /** The time to wait for the lock is up, or an unconfirmed change of l3ctl is pending. */
  L3_TRANSACTION_BUSY = -1,
  /** This thread has a transaction already, which stays as it is. */
  L3_TRANSACTION_NESTED = -2,
  /** This thread has no transaction: none was begun, it has ended, or it is the parent process's. */
  L3_TRANSACTION_NONE = -3,
  /** The system refused something, or memory ran out; everything is as before. */
  L3_TRANSACTION_SYSTEM = -4,
  /** The packet filter refused a line; everything is as before. */
  L3_TRANSACTION_REFUSED = -5,
  /** As the two above, and the rollback failed in part: see l3_transaction_report::not_restored. */
  L3_TRANSACTION_NOT_RESTORED = -6
};

/** Options of a transaction; null stands for the defaults. Set reserved words to zero. */
typedef struct l3_transaction_options {
  uint32_t lock_timeout; /**< seconds to wait for the lock; 30 by default, 0 does not wait */
  uint32_t reserved[3];  /**< zero */
} l3_transaction_options;

/** Why a commit failed. Texts are zero-terminated, cut where they are longer, and empty where there is
 * nothing to say. */
typedef struct l3_transaction_report {
  int32_t result;         /**< what the call returned */
  int32_t wait_status;    /**< of the tool that refused the line, as wait(2) describes it */
  char line[256];         /**< the command line that was refused */
  char message[256];      /**< the first line of the tool's message, or what the system refused */
  char not_restored[256]; /**< what is not as before */
} l3_transaction_report;

/**
 * Opens a transaction: takes the lock, loads what is stored into the library's records, and keeps the
 * configuration file, the saved rules and the platform's state for a rollback.
 *
 * Returns L3_TRANSACTION_OK, or why there is none; l3_transaction_error() has the text then.
 */
int32_t l3_transaction_begin(const l3_transaction_options* options);

/**
 * Makes the collected rules, with one restore for each address family and table, and ends the
 * transaction. If anything fails (a refused rule, a tool that died, a configuration file that does not
 * hold what was set), the rules, the files, the platform's state and the records in memory become what
 * they were before begin. A transaction without command lines starts no process. `report` may be null.
 *
 * The results of the calls in between are the program's to check: where one fails, roll back.
 */
int32_t l3_transaction_commit(l3_transaction_report* report);

/**
 * Ends the transaction and makes everything what it was before begin. Returns L3_TRANSACTION_OK,
 * L3_TRANSACTION_NONE, or L3_TRANSACTION_NOT_RESTORED.
 */
int32_t l3_transaction_rollback(void);

/** Why the last of these calls failed in this thread, in one line; empty where none has. */
const char* l3_transaction_error(void);

#ifdef __cplusplus
}
#endif

#endif
