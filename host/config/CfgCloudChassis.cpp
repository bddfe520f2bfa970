// SPDX-License-Identifier: Apache-2.0
// One configured chassis.
#include "platform/config/CfgCloudChassis.h"

namespace cfg_cloud {

struct CfgCloudChassis::Impl {
  bool known;
  int velId;
};

CfgCloudChassis::CfgCloudChassis() : m_impl(new Impl{false, 0}) {}
CfgCloudChassis::CfgCloudChassis(int velId) : m_impl(new Impl{true, velId}) {}
CfgCloudChassis::CfgCloudChassis(const CfgCloudChassis& other) : m_impl(new Impl(*other.m_impl)) {}

CfgCloudChassis& CfgCloudChassis::operator=(const CfgCloudChassis& other) {
  if (this != &other) *m_impl = *other.m_impl;
  return *this;
}

CfgCloudChassis::~CfgCloudChassis() { delete m_impl; }

int CfgCloudChassis::GetVelocityInstance(int& velId) const {
  if (!m_impl->known) return 1;
  velId = m_impl->velId;
  return 0;
}

}  // namespace cfg_cloud
