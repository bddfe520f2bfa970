// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_DEVICESERVICE_H_
#define HOST_DEVICE_DEVICESERVICE_H_

#include "host/device/ControlSocket.h"
#include "host/device/DeviceEngine.h"
#include "host/device/DeviceProxy.h"
#include "host/device/SourcePoller.h"
#include "host/device/SourceReaders.h"
#include "host/util/EventThread.h"

namespace host {

// The managed device as a process serves it: the engine of the device's file, its sources, its
// control socket and the proxy to it.
class DeviceService {
 public:
  // Reads the device's file and its sources, for which it waits a second at most, and serves them
  // on `loop`, which it borrows, until it is destroyed.
  explicit DeviceService(EventLoop& loop);
  ~DeviceService();
  DeviceService(const DeviceService&) = delete;
  DeviceService& operator=(const DeviceService&) = delete;

  DeviceProxy& Proxy() { return m_proxy; }
  int VelId() const { return m_engine.Model().velId; }

 private:
  EventLoop& m_loop;
  DeviceEngine m_engine;
  DeviceProxy m_proxy;
  SourcePoller m_poller;
  SourceReaders m_readers;
  ControlSocket m_socket;
};

}  // namespace host

#endif  // HOST_DEVICE_DEVICESERVICE_H_
