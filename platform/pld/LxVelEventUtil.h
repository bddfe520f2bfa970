// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_PLD_LXVELEVENTUTIL_H_
#define PLATFORM_PLD_LXVELEVENTUTIL_H_

#include <cstdint>
#include <string>

// The text of an event state code. Any thread.
class LxVelEventUtil {
 public:
  // Text of the state of an event that is no longer active.
  static const char* const TYPE_CLEARED_STRING;

  explicit LxVelEventUtil(uint16_t eventState);
  ~LxVelEventUtil();
  LxVelEventUtil(const LxVelEventUtil&) = delete;
  LxVelEventUtil& operator=(const LxVelEventUtil&) = delete;

  // The state's text, never empty: an unknown code has a text as well.
  std::string GetEventStateString() const;

 private:
  struct Impl;
  Impl* m_impl;
};

#endif  // PLATFORM_PLD_LXVELEVENTUTIL_H_
