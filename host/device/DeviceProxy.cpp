// SPDX-License-Identifier: Apache-2.0
// The daemon's questions to the device, answered by the engine.
#include "host/device/DeviceProxy.h"

#include "platform/pld/PldConstants.h"

namespace host {
namespace {

int Status(bool known) { return known ? 0 : 1; }

}  // namespace

int DeviceProxy::RegisterEventNotification(EventCallback callback, unsigned int /*options*/,
                                           int /*velId*/) {
  m_engine.RegisterEvents(callback);
  return 0;
}

int DeviceProxy::RegisterCovNotification(CovCallback callback, unsigned int /*options*/,
                                         int /*velId*/) {
  m_engine.RegisterCovs(callback);
  return 0;
}

int DeviceProxy::DispatchEvents() { return m_engine.DispatchEvent() ? 1 : 0; }

int DeviceProxy::DispatchCovs() { return m_engine.DispatchCov() ? 1 : 0; }

int DeviceProxy::GetActiveEvents(ActiveEventsCallback callback, int /*velId*/) {
  if (callback == nullptr) return 1;
  m_engine.ActiveEvents(callback);
  return 0;
}

int DeviceProxy::GetPointText(std::string& text, uint16_t /*device*/, uint16_t point,
                              uint16_t /*arg2*/, uint16_t /*arg3*/, int32_t arg4, int16_t /*arg5*/,
                              int /*reserved*/) {
  return Status(arg4 == pld::kCelsius ? m_engine.CelsiusText(point, text)
                                      : m_engine.PointText(point, text));
}

int DeviceProxy::GetEventText(std::string& text, uint16_t /*device*/, uint16_t gddId,
                              uint16_t /*module*/, int /*reserved*/, const char* /*format*/) {
  return Status(m_engine.EventText(gddId, text));
}

LxDpStatus DeviceProxy::GetReportNumber(uint16_t /*device*/, uint16_t point, uint32_t& report) {
  return Status(m_engine.Report(point, report));
}

LxDpStatus DeviceProxy::GetMaxModuleCount(uint16_t /*device*/, uint16_t report, uint32_t& count) {
  return Status(m_engine.ModuleCount(report, count));
}

int DeviceProxy::GetResolution(int32_t& /*factor*/, uint16_t /*device*/, uint16_t point) {
  return Status(m_engine.IsPoint(point));
}

bool DeviceProxy::GetProdSeqId(LxProductIdentSeq** psi, unsigned short /*velId*/) const {
  if (!m_engine.Model().psi) return false;
  *psi = &m_psi;
  return true;
}

void DeviceProxy::SequenceId::ConvertPsiToStr(std::string& text) const {
  text = m_engine.Model().psi.value_or("");
}

}  // namespace host
