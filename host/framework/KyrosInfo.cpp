// SPDX-License-Identifier: Apache-2.0
// The version that the program was built as.
#include "platform/framework/KyrosInfo.h"

struct KyrosInfo::Impl {
  std::string version;
};

KyrosInfo::KyrosInfo() : m_impl(new Impl{CLOUDCLIENT_VERSION}) {}

KyrosInfo::~KyrosInfo() { delete m_impl; }

std::string KyrosInfo::GetAppVersion() const { return m_impl->version; }
