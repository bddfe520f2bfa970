// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_DEVICEPROXY_H_
#define HOST_DEVICE_DEVICEPROXY_H_

#include <string>

#include "host/device/DeviceEngine.h"
#include "platform/pld/LxPldProxy.h"
#include "platform/pld/LxProductIdentSeq.h"

namespace host {

// The engine as the platform's proxy. Borrows the engine, which answers for every device number.
class DeviceProxy : public LxPldProxy {
 public:
  explicit DeviceProxy(DeviceEngine& engine) : m_engine(engine), m_psi(engine) {}

  const DeviceEngine& Engine() const { return m_engine; }

  int RegisterEventNotification(EventCallback callback, unsigned int options, int velId) override;
  int RegisterCovNotification(CovCallback callback, unsigned int options, int velId) override;
  int DispatchEvents() override;
  int DispatchCovs() override;
  int GetActiveEvents(ActiveEventsCallback callback, int velId) override;
  int GetPointText(std::string& text, uint16_t device, uint16_t point, uint16_t arg2, uint16_t arg3,
                   int32_t arg4, int16_t arg5, int reserved) override;
  int GetEventText(std::string& text, uint16_t device, uint16_t gddId, uint16_t module,
                   int reserved, const char* format) override;
  LxDpStatus GetReportNumber(uint16_t device, uint16_t point, uint32_t& report) override;
  LxDpStatus GetMaxModuleCount(uint16_t device, uint16_t report, uint32_t& count) override;
  int GetResolution(int32_t& factor, uint16_t device, uint16_t point) override;
  bool GetProdSeqId(LxProductIdentSeq** psi, unsigned short velId) const override;

 private:
  class SequenceId : public LxProductIdentSeq {
   public:
    explicit SequenceId(const DeviceEngine& engine) : m_engine(engine) {}
    void ConvertPsiToStr(std::string& text) const override;

   private:
    const DeviceEngine& m_engine;
  };

  DeviceEngine& m_engine;
  mutable SequenceId m_psi;
};

}  // namespace host

#endif  // HOST_DEVICE_DEVICEPROXY_H_
