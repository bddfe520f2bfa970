// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_RETRYWAIT_H_
#define BASE_RETRYWAIT_H_

#include <cstdint>

namespace cloudclient {

// Waits between attempts. The longest that a wait may take is `first` seconds of the first, twice
// the one before of each that follows, and `most` at most. What is waited is drawn evenly from half
// of that to all of it, so that appliances that lost a service at one moment do not come back to it
// at one moment.
//
// Times are seconds and parts of the monotonic clock, as `Now` gives them: no setting of the
// machine's clock moves the end of a wait. For one thread.
class RetryWait {
 public:
  static double Now();

  // Begins the wait after an attempt.
  void Begin(double now, long first, long most);
  // The next wait is the first again; none is under way.
  void Reset() { *this = RetryWait(); }

  // No wait is under way.
  bool IsOver(double now) const { return now >= m_end; }
  // The last wait ended `most` seconds ago, or earlier.
  bool IsLongOver(double now, long most) const { return now >= m_end + static_cast<double>(most); }

  // The longest that the wait under way takes, in seconds; 0 before the first.
  long Longest() const { return m_longest; }

 private:
  long m_longest = 0;
  double m_end = 0;
};

}  // namespace cloudclient

#endif  // BASE_RETRYWAIT_H_
