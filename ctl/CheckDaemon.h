// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_CHECKDAEMON_H_
#define CTL_CHECKDAEMON_H_

#include "ctl/Checkup.h"

namespace ctl {

// Ask the daemon over its socket, which may take so many seconds.

// "daemon": whether it answers. "queues": whether more waited than the policy lets wait, as far as
// the newest messages tell. "log": what failed in it last.
void CheckDaemon(double seconds, Checkup& checkup);
// "sources": points whose source gives no value.
void CheckSources(double seconds, Checkup& checkup);

}  // namespace ctl

#endif  // CTL_CHECKDAEMON_H_
