// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_FRAMEWORK_KYROSINFO_H_
#define PLATFORM_FRAMEWORK_KYROSINFO_H_

#include <string>

// What the appliance knows of itself. Held by value, made for each question. Any thread.
class KyrosInfo {
 public:
  KyrosInfo();
  ~KyrosInfo();
  KyrosInfo(const KyrosInfo&) = delete;
  KyrosInfo& operator=(const KyrosInfo&) = delete;

  // The application's version ("1.4.0").
  std::string GetAppVersion() const;

 private:
  struct Impl;
  Impl* m_impl;
};

#endif  // PLATFORM_FRAMEWORK_KYROSINFO_H_
