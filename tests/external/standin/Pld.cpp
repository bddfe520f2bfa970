// SPDX-License-Identifier: Apache-2.0
// A device that has neither points nor events nor files.
#include "Proxy.h"
#include "platform/pld/LxProductIdentSeq.h"
#include "platform/pld/LxVelEventUtil.h"
#include "platform/pld/PldQueryWorker.h"

namespace {

constexpr int kUnknown = 1;

// Without data files: the daemon looks for none under an empty identifier.
class EmptySequence : public LxProductIdentSeq {
 public:
  void ConvertPsiToStr(std::string& text) const override { text.clear(); }
};

class DeviceProxy : public LxPldProxy {
 public:
  int RegisterEventNotification(EventCallback /*callback*/, unsigned int /*options*/,
                                int /*velId*/) override {
    return 0;
  }
  int RegisterCovNotification(CovCallback /*callback*/, unsigned int /*options*/,
                              int /*velId*/) override {
    return 0;
  }
  int DispatchEvents() override { return 0; }
  int DispatchCovs() override { return 0; }
  int GetActiveEvents(ActiveEventsCallback callback, int /*velId*/) override {
    callback(0, {});
    return 0;
  }
  int GetPointText(std::string& text, uint16_t /*device*/, uint16_t /*point*/, uint16_t /*arg2*/,
                   uint16_t /*arg3*/, int32_t /*arg4*/, int16_t /*arg5*/,
                   int /*reserved*/) override {
    text.clear();
    return kUnknown;
  }
  int GetEventText(std::string& text, uint16_t /*device*/, uint16_t /*gddId*/, uint16_t /*module*/,
                   int /*reserved*/, const char* /*format*/) override {
    text.clear();
    return kUnknown;
  }
  LxDpStatus GetReportNumber(uint16_t /*device*/, uint16_t /*point*/,
                             uint32_t& /*report*/) override {
    return kUnknown;
  }
  LxDpStatus GetMaxModuleCount(uint16_t /*device*/, uint16_t /*report*/,
                               uint32_t& /*count*/) override {
    return kUnknown;
  }
  int GetResolution(int32_t& /*factor*/, uint16_t /*device*/, uint16_t /*point*/) override {
    return kUnknown;
  }
  bool GetProdSeqId(LxProductIdentSeq** psi, unsigned short /*velId*/) const override {
    *psi = &m_psi;
    return true;
  }

 private:
  mutable EmptySequence m_psi;
};

}  // namespace

LxPldProxy& standin::Proxy() {
  static auto* const proxy = new DeviceProxy;
  return *proxy;
}

std::string PldQueryWorker::GetDocument(LxPldProxy* /*proxy*/, const std::string& /*query*/,
                                        const std::string& /*page*/, int /*velId*/) {
  return {};
}

struct LxVelEventUtil::Impl {
  uint16_t state;
};

const char* const LxVelEventUtil::TYPE_CLEARED_STRING = "Cleared";

LxVelEventUtil::LxVelEventUtil(uint16_t eventState) : m_impl(new Impl{eventState}) {}
LxVelEventUtil::~LxVelEventUtil() { delete m_impl; }

std::string LxVelEventUtil::GetEventStateString() const {
  const char* const texts[] = {TYPE_CLEARED_STRING, "Message", "Warning", "Alarm", "Fault"};
  return m_impl->state < sizeof texts / sizeof texts[0] ? texts[m_impl->state] : "Unknown";
}
