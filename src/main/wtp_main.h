// wtp_main - the daemon's life: start order, signals, core files, the initial thread.
//
// The steps of wtp_main and ac_main rely on the ones before them and are not to be moved. Steps of units that are not
// part of the build yet are absent; each has its place in the order.
#pragma once

#include "common/ac_types.h"

// The whole process after the platform is up. Returns only from the stop sequence, which runs if keep_loop is ever
// cleared.
int wtp_main();

// Addresses, protocol threads, then the loop of the initial thread. -1 on a failed step, with earlier threads left
// running; does not return on success.
int ac_main(int argc, char** argv);

void setup_signals();
void Term_Sig_entry(int sig); // prints and ends the process with status 0
void Bad_Sig_entry(int sig);  // prints and returns: the process carries on

// Raises the core limit and names the core files.
void init_core_dump();

// The appliance's language from "/var/sys_lang" into `buf` of 32 bytes. 0; -1 with `buf` as it was when there is no
// file.
int get_ac_language_file(UINT8* buf);

// Storage of the four pools and their records, at the stop.
void destroy_mempools();
