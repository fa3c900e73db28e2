#pragma once

// Turns the process into a daemon: detached from its terminal, with /dev/null as descriptors 0, 1
// and 2 and nothing else open below 256, file-creation mask 0, SIGCHLD ignored, and its working
// directory dir or, for null, "/var/lib/tamvo/", which is created. The caller's process exits with
// status 0; the daemon returns 0. -1, in the caller's or the first child's process, when a fork
// fails.
int init_daemon(const char* dir);
