// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_CONFIGFILES_H_
#define CTL_CONFIGFILES_H_

namespace ctl {

// Whether each configuration file can be read or is missing; prints what is wrong. Asked before
// their stores are used, whose defaults would otherwise pass for what the files hold.
bool ConfigFilesAreReadable();

}  // namespace ctl

#endif  // CTL_CONFIGFILES_H_
