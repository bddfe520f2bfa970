// SPDX-License-Identifier: Apache-2.0
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <thread>
#include <utility>

#include "HostTest.h"
#include "host/framework/AppFramework.h"
#include "host/util/UnixAddress.h"
#include "platform/config/LxAppCfg.h"
#include "platform/config/LxCfgSysInfo.h"
#include "platform/framework/LxBaseProxyApp.h"
#include "platform/framework/LxConfigEvent.h"
#include "platform/pld/LxPldProxy.h"
#include "platform/util/dlog.h"

namespace {

using testing::EndsWith;

#define NOTE(...) __dlog_printf(5, "App", __VA_ARGS__)

// An application that sleeps in its work step, far longer than a test may take.
class App : public LxBaseProxyApp {
 public:
  App() : LxBaseProxyApp("app") {}
  ~App() override {
    while (m_hangAtEnd) {
      NOTE("hangs in its destructor");
      pause();
    }
    NOTE("gone");
  }

  int OnStart() override {
    NOTE("OnStart");
    if (m_throw) throw std::runtime_error("OnStart");
    if (m_inStart) m_inStart();
    OnRunning();
    return LxBaseProxyApp::OnStart();
  }
  void DoWork() override {
    if (m_inWork) std::exchange(m_inWork, nullptr)();
    if (m_work == Work::kStep) {
      sched_yield();
      return;
    }
    NOTE("DoWork");
    do {
      sleep(100000);
      if (m_work == Work::kHang) NOTE("hangs in its work");
    } while (m_work == Work::kHang);
  }
  void OnStop() override {
    NOTE("OnStop");
    LxBaseProxyApp::OnStop();
  }
  void HandleSigTerm() override { NOTE("HandleSigTerm"); }
  void HandleSigPipe() override { NOTE("HandleSigPipe"); }
  void HandleCfgEvent(const LxConfigEvent& event) override {
    if (m_inHandler) std::exchange(m_inHandler, nullptr)();
    for (const std::string& key : event.GetConfigKeyNames()) {
      NOTE("%s %s %s", event.GetConfigSetName().c_str(), event.GetConfigSectionName().c_str(),
           key.c_str());
    }
  }

  enum class Work { kSleep, kStep, kHang };
  Work m_work = Work::kSleep;
  bool m_hangAtEnd = false;
  bool m_throw = false;
  // Run within these hooks, in the latter two once.
  std::function<void()> m_inStart;
  std::function<void()> m_inWork;
  std::function<void()> m_inHandler;
};

// Waits until the process has read this name of the system.
bool AwaitName(const std::string& name) {
  orv_cfgserver::LxAppCfg* cfg = orv_cfgserver::LxAppCfgFactory::GetInstance()->GetCfg(
      cfg_sysinfo::LxCfgSysInfo::CONFIGURATION_SET);
  auto* sysInfo = dynamic_cast<cfg_sysinfo::LxCfgSysInfo*>(cfg);
  return Await([&] {
    std::string read;
    sysInfo->GetSysName(read);
    return read == name;
  });
}

class FrameworkTest : public HostTest {
 protected:
  // Runs an application in a process of its own.
  Child Start(const std::function<void(App&)>& prepare = [](App& /*app*/) {}) const {
    return Run([prepare] {
      App app;
      prepare(app);
      app.Start();
      // What a hook of the application expects counts here as well.
      return testing::Test::HasFailure() ? 99 : 0;
    });
  }

  // Gives the system a name, and waits until the process has read it.
  bool Rename(const std::string& name) const {
    Replace("/etc/cloudclient/sysinfo.json", "{\"SysName\": \"" + name + "\"}");
    return AwaitName(name);
  }
};

}  // namespace

TEST_F(FrameworkTest, Stop_ends_the_sleep_at_once_with_status_0) {
  const Child child = Start();
  AwaitLog("DoWork");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(LogCount("5 Host app " CLOUDCLIENT_VERSION " starts"), 1);
  EXPECT_EQ(LogCount("5 Host SIGTERM: stopping"), 1);
  EXPECT_EQ(LogCount("App HandleSigTerm"), 1);
  EXPECT_EQ(LogCount("App OnStop"), 1);
  EXPECT_EQ(LogCount("5 Host app stopped"), 1);
  EXPECT_THAT(Log(), EndsWith("5 Host app stopped\n"));
  EXPECT_LT(Log().find("App gone"), Log().find("app stopped"));
}

TEST_F(FrameworkTest, What_has_stopped_has_no_time_limit) {
  const Child child = Run([] {
    {
      App app;
      app.Start();
    }
    host::AppFramework::Get().Signals().OnTime(std::numeric_limits<int64_t>::max());
    return 7;
  });
  AwaitLog("DoWork");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 7);
}

TEST_F(FrameworkTest, Interrupt_stops_as_well) {
  const Child child = Start();
  AwaitLog("DoWork");
  kill(child.pid, SIGINT);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(LogCount("5 Host SIGINT: stopping"), 1);
  EXPECT_EQ(LogCount("App OnStop"), 1);
}

TEST_F(FrameworkTest, Stop_before_the_start_ends_without_work) {
  const Child child = Run([this] {
    App app;
    kill(getpid(), SIGTERM);
    if (!Await([&] { return app.IsStop(); })) return 7;
    app.Start();
    return 0;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(LogCount("App OnStart"), 1);
  EXPECT_EQ(LogCount("App DoWork"), 0);
  EXPECT_EQ(LogCount("App OnStop"), 1);
}

TEST_F(FrameworkTest, Stop_at_any_moment_costs_no_sleep) {
  for (int i = 0; i < 10; ++i) {
    const Child child = Start();
    AwaitLog("App OnStart");
    // Not by giving way to others, which takes as long as these are many.
    for (int spin = 0; spin < i * 2000; ++spin) getppid();
    kill(child.pid, SIGTERM);
    EXPECT_EQ(child.Wait(), 0);
    ASSERT_EQ(truncate(In("/log").c_str(), 0), 0);
  }
}

TEST_F(FrameworkTest, Second_signal_ends_a_hanging_process_with_status_1) {
  const Child child = Start([](App& app) { app.m_work = App::Work::kHang; });
  AwaitLog("App DoWork");
  kill(child.pid, SIGTERM);
  AwaitLog("hangs in its work");
  kill(child.pid, SIGINT);
  EXPECT_EQ(child.Wait(), 1);
  EXPECT_EQ(LogCount("3 Host SIGINT while stopping: ended at once"), 1);
  EXPECT_EQ(LogCount("App OnStop"), 0);
}

TEST_F(FrameworkTest, Second_signal_ends_a_destructor_that_hangs) {
  const Child child = Start([](App& app) { app.m_hangAtEnd = true; });
  AwaitLog("App DoWork");
  kill(child.pid, SIGTERM);
  AwaitLog("hangs in its destructor");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 1);
  EXPECT_EQ(LogCount("ended at once"), 1);
  EXPECT_EQ(LogCount("app stopped"), 0);
}

TEST_F(FrameworkTest, Exception_of_a_hook_leaves_start) {
  const Child child = Run([] {
    App app;
    app.m_throw = true;
    try {
      app.Start();
    } catch (const std::runtime_error&) {
      return 42;
    }
    return 0;
  });
  EXPECT_EQ(child.Wait(), 42);
  EXPECT_EQ(LogCount("App gone"), 1);
  EXPECT_EQ(LogCount("app stopped"), 0);
}

TEST_F(FrameworkTest, Changed_keys_come_while_it_works) {
  const Child child = Start([](App& app) { app.m_work = App::Work::kStep; });
  AwaitLog("App OnStart");
  Replace("/etc/cloudclient/sysinfo.json", R"({"SysName": "new"})");
  AwaitLog("App sysinfo info SysName");
  Replace("/etc/cloudclient/cloud.json", R"({"Url": "u", "Own": 1})");
  AwaitLog("App cloud cloud Url");
  AwaitLog("App cloud cloud Own");
  kill(child.pid, SIGHUP);
  AwaitLog("SIGHUP: the configuration is read again");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(LogCount("App cloud"), 2);
  EXPECT_EQ(LogCount("App sysinfo"), 1);
}

TEST_F(FrameworkTest, Change_is_delivered_with_set_section_and_keys) {
  const Child child = Run([this] {
    App app;
    const bool seen = Rename("new");
    app.Start();
    return seen ? 0 : 7;
  });
  AwaitLog("App DoWork");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(LogCount("App sysinfo info SysName"), 1);
  EXPECT_LT(Log().find("App sysinfo info SysName"), Log().find("App DoWork"));
}

TEST_F(FrameworkTest, Changed_keys_come_while_the_start_waits) {
  const Child child = Start([](App& app) {
    app.m_inStart = [&app] {
      while (!app.IsStop()) sched_yield();
    };
  });
  AwaitLog("App OnStart");
  Replace("/etc/cloudclient/sysinfo.json", R"({"SysName": "new"})");
  AwaitLog("App sysinfo info SysName");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(LogCount("App sysinfo"), 1);
  EXPECT_EQ(LogCount("App DoWork"), 0);
}

TEST_F(FrameworkTest, Stop_that_was_asked_for_delivers_nothing_more) {
  const Child child = Start([this](App& app) {
    app.m_inStart = [this, &app] {
      EXPECT_TRUE(Rename("new"));
      kill(getpid(), SIGTERM);
      AwaitLog("SIGTERM: stopping");
      EXPECT_TRUE(Await([&app] { return app.IsStop(); }));
    };
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(LogCount("App sysinfo"), 0);
}

TEST_F(FrameworkTest, Change_does_not_come_inside_another_handler) {
  const Child child = Start([this](App& app) {
    app.m_inHandler = [this, &app] {
      EXPECT_TRUE(Rename("newer"));
      EXPECT_FALSE(app.IsStop());
      NOTE("handler goes on");
    };
    app.m_inStart = [this, &app] {
      EXPECT_TRUE(Rename("new"));
      EXPECT_FALSE(app.IsStop());
      EXPECT_EQ(LogCount("App sysinfo"), 1);
      EXPECT_FALSE(app.IsStop());
      EXPECT_EQ(LogCount("App sysinfo"), 2);
    };
  });
  AwaitLog("App DoWork");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_LT(Log().find("handler goes on"), Log().find("App sysinfo"));
}

TEST_F(FrameworkTest, Change_does_not_come_on_another_thread) {
  const Child child = Start([this](App& app) {
    app.m_inStart = [this, &app] {
      EXPECT_TRUE(Rename("new"));
      std::thread([&app] { EXPECT_FALSE(app.IsStop()); }).join();
      EXPECT_EQ(LogCount("App sysinfo"), 0);
      EXPECT_FALSE(app.IsStop());
      EXPECT_EQ(LogCount("App sysinfo"), 1);
    };
  });
  AwaitLog("App DoWork");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(FrameworkTest, Change_does_not_come_inside_a_work_step) {
  const Child child = Start([this](App& app) {
    app.m_work = App::Work::kStep;
    app.m_inWork = [this, &app] {
      EXPECT_TRUE(Rename("new"));
      EXPECT_FALSE(app.IsStop());
      NOTE("work goes on");
    };
  });
  AwaitLog("App sysinfo info SysName");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_LT(Log().find("work goes on"), Log().find("App sysinfo"));
}

TEST_F(FrameworkTest, Broken_pipe_reaches_its_handler_and_ends_nothing) {
  const Child child = Run([] {
    App app;
    int ends[2] = {};
    if (pipe(ends) != 0) return 7;
    close(ends[0]);
    if (write(ends[1], "x", 1) != -1) return 8;
    app.Start();
    return 0;
  });
  AwaitLog("App DoWork");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(LogCount("App HandleSigPipe"), 1);
}

TEST_F(FrameworkTest, Service_manager_hears_of_start_watchdog_and_stop) {
  host::Fd manager(socket(AF_UNIX, SOCK_DGRAM, 0));
  const host::UnixAddress address(In("/notify"));
  ASSERT_EQ(bind(manager.Get(), address.Get(), address.Size()), 0);
  setenv("NOTIFY_SOCKET", In("/notify").c_str(), 1);
  setenv("WATCHDOG_USEC", "40000", 1);
  const Child child = Start([](App& app) { app.m_work = App::Work::kHang; });
  const auto await = [&](const std::string& message) {
    for (;;) {
      char buffer[100];
      struct pollfd ready = {manager.Get(), POLLIN, 0};
      if (poll(&ready, 1, 60000) != 1) return false;
      const ssize_t got = recv(manager.Get(), buffer, sizeof(buffer), 0);
      if (std::string(buffer, got > 0 ? static_cast<size_t>(got) : 0) == message) return true;
    }
  };
  EXPECT_TRUE(await("READY=1"));
  EXPECT_TRUE(await("WATCHDOG=1"));
  EXPECT_TRUE(await("WATCHDOG=1"));
  kill(child.pid, SIGTERM);
  EXPECT_TRUE(await("STOPPING=1"));
  AwaitLog("hangs in its work");
  EXPECT_TRUE(await("WATCHDOG=1"));  // also while the main thread hangs
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 1);
}

TEST_F(FrameworkTest, Application_knows_its_device) {
  Write("/etc/cloudclient/device.json",
        R"({"VelocityId": 5, "Label": "Rack", "Points": [{"Id": 1, "Value": "2"}]})");
  const Child child = Run([] {
    if (LxBaseKyrosApp::GetInstance() != nullptr) return 1;
    {
      App app;
      if (LxBaseKyrosApp::GetInstance() != &app) return 2;
      if (app.GetManagedDeviceVelId() != 5) return 3;
      std::string text;
      if (app.GetPldProxy()->GetPointText(text, 5, 4329, 1, 0, 0, 0, 0) != 0) return 4;
      if (text != "Rack") return 5;
      if (app.IsStop() || app.ServerIsEnabled() || app.RequiresEventListener()) return 6;
      if (app.GetEventListenerPort() != 0) return 7;
    }
    return LxBaseKyrosApp::GetInstance() == nullptr ? 0 : 8;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(FrameworkTest, Sources_were_read_when_the_application_asks) {
  Write("/etc/cloudclient/device.json", R"({"Points": [
      {"Id": 1, "Source": {"Type": "file", "Path": "/sys/fan"}}]})");
  Write("/sys/fan", "1200\n");
  const Child child = Run([] {
    App app;
    std::string text;
    app.GetPldProxy()->GetPointText(text, 0, 1, 1, 0, 0, 0, 0);
    return text == "1200" ? 0 : 7;
  });
  EXPECT_EQ(child.Wait(), 0);
}

TEST_F(FrameworkTest, Control_socket_is_served_while_the_application_lives) {
  Write("/etc/cloudclient/device.json", R"({"Points": [{"Id": 1, "Value": "2"}]})");
  const Child child = Start();
  AwaitLog("App DoWork");
  host::Fd client(socket(AF_UNIX, SOCK_STREAM, 0));
  const host::UnixAddress address(In("/run/cloudclient/device.sock"));
  ASSERT_EQ(connect(client.Get(), address.Get(), address.Size()), 0);
  const std::string line = "{\"op\":\"set\",\"point\":1,\"value\":\"3\"}\n";
  ASSERT_EQ(send(client.Get(), line.data(), line.size(), 0), static_cast<ssize_t>(line.size()));
  char buffer[100];
  const ssize_t got = recv(client.Get(), buffer, sizeof(buffer), 0);
  ASSERT_GT(got, 0);
  EXPECT_EQ(std::string(buffer, static_cast<size_t>(got)), "{\"ok\":true}\n");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_FALSE(Exists("/run/cloudclient/device.sock"));
}

TEST_F(FrameworkTest, Bad_files_cost_one_message_each_and_are_not_overwritten) {
  for (const char* name : {"cloud.json", "sysinfo.json", "device.json"}) {
    Write(std::string("/etc/cloudclient/") + name, "{\"Enabled\": tru");
  }
  const Child child = Start();
  AwaitLog("App DoWork");
  kill(child.pid, SIGTERM);
  EXPECT_EQ(child.Wait(), 0);
  for (const char* name : {"cloud.json", "sysinfo.json", "device.json"}) {
    EXPECT_EQ(LogCount(std::string(name) + " is not valid JSON: line 1, column 15"), 1) << name;
    EXPECT_EQ(Read(std::string("/etc/cloudclient/") + name), "{\"Enabled\": tru");
  }
}
