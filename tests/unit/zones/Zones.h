// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_ZONES_ZONES_H_
#define TESTS_UNIT_ZONES_ZONES_H_

#include <ctime>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

// The time zones of the machine's database (Debian's tzdata), and where their dates begin. A date
// is given by its 00:00:01 as if that were UTC.
namespace zones {

constexpr time_t kHour = 3600;
constexpr time_t kDay = 86400;

// The zones of the database that differ. Those that count leap seconds are left out: the system's
// clock has none.
std::vector<std::string> All();

// Cases look at a part of them each.
constexpr const char* kPartNames[] = {"FirstQuarter", "SecondQuarter", "ThirdQuarter",
                                      "LastQuarter"};
constexpr size_t kParts = std::size(kPartNames);
std::vector<std::string> Part(size_t part);

// Makes it the process's zone.
void Use(const std::string& zone);

// What the zone's clock shows at `when`, as if that were UTC.
time_t Shown(time_t when);

// When the zone's clock shows the date's 00:00:01 first; 0 when it never does.
time_t FirstOf(time_t date);

// Calls `changing` with each date of 1970 to 2037 on which the zone's offset changes, and `quiet`
// with some of the others, which are all alike, and the offset that they have.
void VisitDates(const std::function<void(time_t date)>& changing,
                const std::function<void(time_t date, time_t offset)>& quiet);

// Converts a date that is a third of a year from `when`, once before and once after: what that
// leaves in the C library must not matter.
void ConvertAnotherDate(time_t when);

// The date, to be read.
std::string DateText(time_t date);

}  // namespace zones

#endif  // TESTS_UNIT_ZONES_ZONES_H_
