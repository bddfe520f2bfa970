#include "platform/framework/LxBaseApp.h"

#include "host/AppFramework.h"
#include "host/Log.h"
#include "platform/framework/KyrosInfo.h"

namespace {

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

}  // namespace

LxBaseApp::LxBaseApp(const std::string& name) : m_impl(new Impl) {
  m_impl->name = name;
  host::AppFramework::Get();
}

LxBaseApp::~LxBaseApp() { delete m_impl; }

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
  OnStart();
  while (!IsStop()) {
    framework.DeliverChanges(m_impl->deliver);
    if (host::TakeSigPipe()) HandleSigPipe();
    DoWork();
  }
  HandleSigTerm();
  OnStop();
  HOST_LOG(5, "%s stopped", m_impl->name.c_str());
}

bool LxBaseApp::IsStop() const { return host::AppFramework::Get().Signals().IsStop(); }
