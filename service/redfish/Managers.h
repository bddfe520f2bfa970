// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_MANAGERS_H_
#define SERVICE_REDFISH_MANAGERS_H_

#include <utility>

#include "service/auth/Accounts.h"
#include "service/redfish/Call.h"
#include "service/redfish/Quota.h"
#include "service/util/Clock.h"

namespace cloudservice {

// The operations on managers, which are the appliances themselves, and their registration.
class Managers {
 public:
  // The accounts outlive it.
  Managers(Clock clock, Accounts& accounts, const Quota& quota)
      : m_clock(std::move(clock)), m_accounts(&accounts), m_quota(quota) {}

  void AddTo(Routes& routes) const;

 private:
  void Admit(Call& call) const;
  Answer Register(const Call& call, Transaction& store) const;
  Answer Get(const Call& call, Transaction& store) const;
  Answer Patch(const Call& call, Transaction& store) const;
  Json View(const Call& call, Transaction& store, const ManagerRecord& manager) const;

  Clock m_clock;
  Accounts* m_accounts;
  Quota m_quota;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_MANAGERS_H_
