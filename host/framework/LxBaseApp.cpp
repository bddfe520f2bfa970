// SPDX-License-Identifier: Apache-2.0
// The application's life: start, work steps, stop.
#include "platform/framework/LxBaseApp.h"

#include "host/framework/AppFramework.h"
#include "host/framework/CommandLine.h"
#include "host/util/Log.h"
#include "host/util/UncaughtException.h"
#include "platform/framework/KyrosInfo.h"

namespace {

// Before the program's first object: what that throws is told, too.
__attribute__((constructor(101))) void TellUncaughtExceptions() { host::EndOnUncaughtException(); }

// Marks the time in which the main thread runs the application.
class Running {
 public:
  explicit Running(host::SignalWatch& signals) : m_signals(signals) { m_signals.RunBegins(); }
  ~Running() { m_signals.RunEnds(); }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  host::SignalWatch& m_signals;
};

// Makes a thread the listener for a time, or nobody.
class Listening {
 public:
  Listening(std::atomic<std::thread::id>& listener, std::thread::id thread)
      : m_listener(listener), m_before(listener.exchange(thread)) {}
  ~Listening() { m_listener = m_before; }
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;

 private:
  std::atomic<std::thread::id>& m_listener;
  const std::thread::id m_before;
};

}  // namespace

void LxBaseApp::Impl::DeliverToListener() {
  if (listener != std::this_thread::get_id()) return;
  const Listening nobody(listener, std::thread::id());
  host::AppFramework::Get().DeliverChanges(deliver);
}

LxBaseApp::LxBaseApp(const std::string& name) : m_impl(new Impl) {
  // First: who asks for help gets no daemon on the machine's files.
  host::RunCommandLineOption(name);
  m_impl->name = name;
  host::AppFramework::Get();
}

// What derives from it is gone, with its threads: the end of the process is all that is left.
LxBaseApp::~LxBaseApp() {
  if (m_impl->stopped) {
    host::AppFramework::Get().Signals().Stopped();
    HOST_LOG(5, "%s stopped", m_impl->name.c_str());
  }
  delete m_impl;
}

int LxBaseApp::OnStart() { return 0; }
void LxBaseApp::DoWork() {}
void LxBaseApp::OnStop() {}
void LxBaseApp::OnRunning() {}
void LxBaseApp::HandleSigTerm() {}
void LxBaseApp::HandleSigPipe() {}

void LxBaseApp::Start() {
  host::AppFramework& framework = host::AppFramework::Get();
  HOST_LOG(5, "%s %s starts", m_impl->name.c_str(), KyrosInfo().GetAppVersion().c_str());
  const Running running(framework.Signals());
  {
    const Listening here(m_impl->listener, std::this_thread::get_id());
    OnStart();
  }
  while (!IsStop()) {
    framework.DeliverChanges(m_impl->deliver);
    if (host::TakeSigPipe()) HandleSigPipe();
    DoWork();
  }
  HandleSigTerm();
  OnStop();
  m_impl->stopped = true;
}

bool LxBaseApp::IsStop() const {
  const host::SignalWatch& signals = host::AppFramework::Get().Signals();
  // `OnStart` may wait for a configuration in which the application has work to do: what changes
  // meanwhile must not first be heard of when it has begun.
  if (!signals.IsStop()) m_impl->DeliverToListener();
  return signals.IsStop();
}
