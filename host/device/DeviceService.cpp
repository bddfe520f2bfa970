// SPDX-License-Identifier: Apache-2.0
// Engine, sources and control socket of the device, started and stopped together.
#include "host/device/DeviceService.h"

#include "host/device/ControlProtocol.h"
#include "host/device/DataFolder.h"
#include "host/device/DeviceModel.h"
#include "host/util/Clock.h"
#include "host/util/Paths.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

constexpr int kFirstRoundMs = 1000;

}  // namespace

DeviceService::DeviceService(EventLoop& loop)
    : m_loop(loop),
      m_engine(LoadDeviceModel(LocalPath(kDeviceFile))),
      m_proxy(m_engine),
      m_poller(m_engine),
      m_readers(m_engine, LoadSources(m_engine.Model(), LocalPath(kDeviceFile))),
      m_socket(LocalPath(kControlSocket),
               [this](const std::string& line) { return AnswerControlLine(m_engine, line); },
               {ControlError("a line is at most " + std::to_string(ControlSocket::kLongestLine) +
                             " bytes long"),
                ControlError("the request failed")}) {
  CheckDataFiles(m_engine.Model().psi);
  // Whatever asks first shall find values, but a source that hangs must not keep the daemon.
  const int64_t end = MonotonicMs() + kFirstRoundMs;
  m_poller.Serve(Wait(), MonotonicMs());
  m_readers.Serve(Wait(), MonotonicMs());
  m_poller.AwaitRound(kFirstRoundMs);
  m_readers.AwaitFirst(static_cast<int>(end - MonotonicMs()));
  m_loop.Add(&m_poller);
  m_loop.Add(&m_readers);
  m_loop.Add(&m_socket);
}

DeviceService::~DeviceService() {
  m_loop.Remove(&m_socket);
  m_loop.Remove(&m_readers);
  m_loop.Remove(&m_poller);
}

}  // namespace host
