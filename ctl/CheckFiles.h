// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_CHECKFILES_H_
#define CTL_CHECKFILES_H_

#include "base/PolicyFile.h"
#include "ctl/Checkup.h"

namespace ctl {

// Looks at what lies on this machine, each operation at one thing. Paths are those of the daemon.

// "configuration": the files can be read, and hold what a connection needs.
void CheckConfiguration(Checkup& checkup);
// "rights": the daemon's user, to whom the folder belongs, can read the files, and nobody else what
// holds secrets: of the policy a proxy's password.
void CheckRights(const cloudclient::Policy& policy, Checkup& checkup);
// "policy": what reading it came to, and whether the files are there that it names.
void CheckPolicy(const cloudclient::PolicyReading& reading, Checkup& checkup);
// "device", "data files", "map": what `device check` and `map check` find.
void CheckDevice(Checkup& checkup);
// "outbox": what waits there.
void CheckOutbox(const cloudclient::Policy& policy, Checkup& checkup);
// "disk": room where the daemon writes.
void CheckDisk(const cloudclient::Policy& policy, Checkup& checkup);

}  // namespace ctl

#endif  // CTL_CHECKFILES_H_
