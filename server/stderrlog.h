// SPDX-License-Identifier: GPL-3.0-or-later
#ifndef STDERRLOG_H
#define STDERRLOG_H

// Sends every message of the program to standard error without ever waiting for it: a
// line that cannot be written at once is dropped, and the next line that gets through
// says how many were. A relay whose log nobody reads keeps serving.
void logToStderrWithoutWaiting();

#endif // STDERRLOG_H
