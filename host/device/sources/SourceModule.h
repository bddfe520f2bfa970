// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_SOURCEMODULE_H_
#define HOST_DEVICE_SOURCES_SOURCEMODULE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/util/JsonKeys.h"
#include "host/util/Problem.h"

// The one way between the device engine and a module, which is a library that the engine loads when
// the device's file names its kind: TYPE.so offers `cloudclient_source`. Both are built from the
// same sources; a module of another interface is refused.
//
// A module logs nothing and starts no thread; it reports through what it returns and tells, which
// the engine logs. What a connection throws while it reads is its problem; before that it throws
// for want of memory only.

namespace host {

// Another number whenever something changes here, in JsonKeys.h or in Problem.h.
constexpr int kSourceInterface = 2;

// What is wrong in a setting: the key, and words that follow it, as in "Oid" "is no identifier".
struct SettingFault {
  std::string key;
  std::string what;
};
using SettingFaults = std::vector<SettingFault>;

// What bounds an operation that waits for the device.
struct SourceLimits {
  int timeoutMs = 0;  // for one answer
  int retries = 0;    // how often what was not answered is asked again
  // Can be read from once the connection is to end: what waits looks at it too, and returns. Never
  // read from, and open as long as the connection is there.
  int stopFd = -1;
};

// What a connection reads goes here; the engine's, for the time of a call. Points and events are
// named by what they were added as. May be called in any order, and more than once for a point.
class SourceSink {
 public:
  virtual ~SourceSink() = default;

  // A number in the device's own unit: the engine scales it and finds the text of a state.
  virtual void Number(size_t point, double number) = 0;
  // A text, of any bytes: the engine takes those that a value can be.
  virtual void Text(size_t point, const std::string& text) = 0;
  // This point alone has no value. The words are the same as long as the reason is.
  virtual void NoValue(size_t point, const Problem& reason) = 0;
  virtual void Event(size_t event, bool raised) = 0;
};

// One device, program or listener. Used by one thread at a time; points and events are added before
// anything is read.
class SourceConnection {
 public:
  virtual ~SourceConnection() = default;

  // `settings`: a JSON object with keys of the module's table, each of the type that it asks for. A
  // fault leaves the point or event out: nothing is told of it then.
  virtual void AddPoint(size_t point, const std::string& settings, SettingFaults& faults) = 0;
  virtual void AddEvent(size_t event, const std::string& settings, SettingFaults& faults);

  // Reads every point and tells it; connects before that where it is not connected. Blocks, but
  // tells something or returns within the limits. A problem is the connection's: points that were
  // not told have no value, and the next call comes later. Without a problem every point was told.
  virtual Problem Read(SourceSink& sink) = 0;

  // What can be read from when events have come; -1 when there is none now.
  virtual int EventFd() const { return -1; }
  // Tells the events that have come. Does not wait for others.
  virtual void TakeEvents(SourceSink& sink);
};

// Something that a point could show, as it was found. Texts are the device's, of any bytes.
struct OfferedPoint {
  std::string settings;  // a JSON object with keys of a point
  std::string name;      // what the device, or its owner, calls it
  std::string value;     // what it is now, for persons; empty when it has none, or was not asked
  std::string unit;      // "degC", "V", "rpm" ...; empty when it is not known
  double scale = 1;      // `unit` for each of what is told
  int decimals = 0;
  std::vector<std::pair<std::string, std::string>> states;  // what is told, and its text
};

// A connection with what it could show.
struct OfferedSource {
  std::string name;      // what tells it from others of its kind
  std::string settings;  // a JSON object with keys of a connection
  std::vector<OfferedPoint> points;
};

struct Offer {
  std::vector<OfferedSource> sources;
  bool isCut = false;  // there is more than was asked for
};

// What is looked for, and how far.
struct OfferRequest {
  std::string
      settings;         // of the connection, a JSON object with its keys; empty where it finds them
  std::string begin;    // where to look, in the module's own words; empty: where it is usual
  SourceLimits limits;  // of each answer
  size_t most = 0;      // points in all
  int64_t untilMs = 0;  // the time of MonotonicMs after which nothing is asked any more
};

// A kind of source. Used by the thread that reads the device's file.
class SourceModule {
 public:
  virtual ~SourceModule() = default;

  // The keys of a connection, of a point and of an event; none stands in two of the first two. The
  // engine has "Type", "From" and "PollSeconds" itself. "TimeoutSeconds" and "Retries" among the
  // first become the limits (TimeoutKeys).
  virtual std::vector<JsonKey> ConnectionKeys() const = 0;
  virtual std::vector<JsonKey> PointKeys() const = 0;
  virtual std::vector<JsonKey> EventKeys() const { return {}; }

  // Makes a connection and does not connect yet: never blocks. A fault leaves the connection out
  // with all its points; the answer may then be null.
  virtual std::unique_ptr<SourceConnection> Open(const std::string& settings,
                                                 const SourceLimits& limits,
                                                 SettingFaults& faults) const = 0;

  // Looks at a device for what points could show: their numbers. Blocks, within the request's
  // limits. With a fault or a problem the offer is of no use.
  virtual Problem FindOffer(const OfferRequest& request, SettingFaults& faults, Offer& offer) const;
};

inline void SourceConnection::AddEvent(size_t /*event*/, const std::string& /*settings*/,
                                       SettingFaults& faults) {
  faults.push_back({"From", "names a source that tells no events"});
}

inline void SourceConnection::TakeEvents(SourceSink& /*sink*/) {}

inline Problem SourceModule::FindOffer(const OfferRequest& /*request*/, SettingFaults& /*faults*/,
                                       Offer& /*offer*/) const {
  return Problem("a source of this type can't be looked at");
}

// What a library offers.
struct SourceEntry {
  int interface;                    // first, in every version
  const SourceModule& (*module)();  // called when the interface is the engine's
};
constexpr char kSourceEntry[] = "cloudclient_source";

}  // namespace host

// Makes a class the module of the library.
#define HOST_SOURCE_MODULE(Class)                                                         \
  extern "C" __attribute__((visibility("default")))                                       \
  const host::SourceEntry cloudclient_source; /* NOLINT(readability-identifier-naming) */ \
  const host::SourceEntry cloudclient_source = {host::kSourceInterface,                   \
                                                []() -> const host::SourceModule& {       \
                                                  static const Class kModule;             \
                                                  return kModule;                         \
                                                }}

#endif  // HOST_DEVICE_SOURCES_SOURCEMODULE_H_
