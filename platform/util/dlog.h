// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_UTIL_DLOG_H_
#define PLATFORM_UTIL_DLOG_H_

// The appliance's log.
//
// `level`: 3 error, 4 warning, 5 notice or change of state, 6 transport notice, 7 trace.
// `unit`:  name of the source unit that logs, without a suffix ("HttpsClient"); a class that is
//          spread over several files logs under its one name. Borrowed for the call.
// `format`: printf format. The daemon's formats begin with "%s: ", filled with the name of the
//          operation that logs.
//
// May be called from any thread, never blocks on anything but the log itself, never fails and
// leaves errno as it was. A message may be of any length and hold any bytes, line ends included.
void __dlog_printf(int level, const char* unit, const char* format,
                   ...)  // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
    __attribute__((format(printf, 3, 4)));

#endif  // PLATFORM_UTIL_DLOG_H_
