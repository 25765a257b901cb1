/*
 * How a device's web server changes settings as a whole: a form with a firewall switch and devices to block.
 *
 *   cc web_server.c $(pkg-config --cflags --libs l3_transaction) -o web_server
 *   ./web_server 'firewall=on&block=02:00:00:00:00:07&block=02:00:00:00:00:08'
 *
 * Prints the answer to the request. Exits with 0 where the change was made, and with 1 where nothing was changed.
 */
#include <l3_advance/l3_advance.h>
#include <l3_advance/transaction.h>
#include <stdio.h>
#include <string.h>

/* Takes the form apart. Returns whether it is well-formed; nothing has been changed until then. */
static int read_form(char* form, uint8_t* firewall, l3_mac_filter* filter) {
  memset(filter, 0, sizeof *filter);
  filter->mac_filter_ctrl = 1;
  for (char* field = strtok(form, "&"); field != NULL; field = strtok(NULL, "&")) {
    unsigned mac[6];
    char rest;
    if (strcmp(field, "firewall=on") == 0 || strcmp(field, "firewall=off") == 0) {
      *firewall = field[10] == 'n';
    } else if (filter->count < 10 &&
               sscanf(field, "block=%2x:%2x:%2x:%2x:%2x:%2x%c", &mac[0], &mac[1], &mac[2], &mac[3],
                      &mac[4], &mac[5], &rest) == 6) {
      l3_mac_entry* entry = &filter->entries[filter->count++];
      entry->mac_enable = 1;
      entry->stop_hour = 24; /* all day */
      for (int i = 0; i < 6; ++i) {
        entry->mac[i] = (uint8_t)mac[i];
      }
    } else {
      return 0;
    }
  }
  return 1;
}

static int answer(const char* status, const char* text) {
  printf("Status: %s\r\nContent-Type: text/plain\r\n\r\n%s\n", status, text);
  return status[0] == '2' ? 0 : 1;
}

int main(int argc, char** argv) {
  uint8_t firewall = 1;
  l3_mac_filter filter;
  l3_transaction_report report;
  if (argc != 2 || !read_form(argv[1], &firewall, &filter)) {
    return answer("400 Bad Request", "the form is not well-formed; nothing was changed");
  }
  if (l3_transaction_begin(NULL) != L3_TRANSACTION_OK) {
    return answer("503 Service Unavailable", l3_transaction_error());
  }
  /* The calls that the program made before; their rules are collected. */
  if (gl3_web_set_fw_status(firewall) != 0 || gl3_web_set_mac_cfg(&filter) != 0 ||
      gl3_web_set_mac6_cfg(&filter) != 0) {
    l3_transaction_rollback();
    return answer("500 Internal Server Error",
                  "a setting could not be stored; nothing was changed");
  }
  if (l3_transaction_commit(&report) != L3_TRANSACTION_OK) {
    fprintf(stderr, "refused: %s\n", report.line);
    return answer("500 Internal Server Error", report.message);
  }
  return answer("200 OK", "the settings are in force");
}
