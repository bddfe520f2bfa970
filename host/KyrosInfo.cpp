#include "platform/framework/KyrosInfo.h"

struct KyrosInfo::Impl {};

KyrosInfo::KyrosInfo() : m_impl(nullptr) {}
KyrosInfo::~KyrosInfo() = default;

std::string KyrosInfo::GetAppVersion() const { return CLOUDCLIENT_VERSION; }
