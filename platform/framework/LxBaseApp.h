// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_FRAMEWORK_LXBASEAPP_H_
#define PLATFORM_FRAMEWORK_LXBASEAPP_H_

#include <string>

// An application of the framework. One object a process, on the main thread.
//
// The order of the virtual operations, here and in the derived classes, is part of the contract:
// the appliance's framework calls them by their slot.
class LxBaseApp {
 public:
  explicit LxBaseApp(const std::string& name);
  virtual ~LxBaseApp();
  LxBaseApp(const LxBaseApp&) = delete;
  LxBaseApp& operator=(const LxBaseApp&) = delete;

  // Start hook, called once by `Start`, which ignores its result.
  virtual int OnStart();
  // Work step, called again and again until the application stops; it paces itself.
  virtual void DoWork();
  // Stop hook, called once by `Start` after the last work step.
  virtual void OnStop();
  // Announces that the application is running.
  virtual void OnRunning();
  // Called on the main thread when the process was asked to end, and when it wrote to a pipe that
  // nobody reads.
  virtual void HandleSigTerm();
  virtual void HandleSigPipe();

  // Runs the application on the calling thread: `OnStart`, then `DoWork` repeatedly with events
  // delivered between two calls, `OnStop` at the end. An `OnStart` that waits asks `IsStop`, which
  // delivers them meanwhile. Returns when the application was stopped.
  // An exception of a hook passes through.
  void Start();

  // True once a stop has been requested. Any thread; on the main thread inside `OnStart`, but in no
  // handler, it calls the handlers of the events that wait before it answers false.
  bool IsStop() const;

 protected:
  struct Impl;
  Impl* m_impl;
};

#endif  // PLATFORM_FRAMEWORK_LXBASEAPP_H_
