// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_CONTROLSOCKET_H_
#define HOST_DEVICE_CONTROLSOCKET_H_

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include "host/util/EventThread.h"
#include "host/util/Fd.h"
#include "host/util/Files.h"
#include "host/util/Problem.h"

namespace host {

// A stream socket that answers lines, of several clients at once. The lines of a client are
// answered in order, each one after the client took the answer before it: a slow client delays
// itself only. A line of more than 64 KiB is answered once, and the connection ends. The connection
// of a client that sent and took nothing for 30 s ends without an answer.
class ControlSocket : public EventSource {
 public:
  static constexpr size_t kLongestLine = 64 * 1024;
  static constexpr size_t kMostClients = 32;
  static constexpr int64_t kLongestSilenceMs = 30000;

  // Answers a line (both without line ends) on the event thread.
  using Handler = std::function<std::string(const std::string& line)>;

  // What is answered where the handler has no answer: to a line that is too long, and when it
  // throws.
  struct Answers {
    std::string tooLong;
    std::string failed;
  };

  // Makes the socket file, mode 0600, in a folder that is made when missing. A file that nobody
  // serves any more is replaced. Where it can't be made, or is another process's, a message says
  // so and nothing is served.
  ControlSocket(std::string path, Handler handler, Answers answers);
  // Ends the connections and removes the file.
  ~ControlSocket() override;

  bool IsServed() const { return m_listener.IsOpen(); }

  void Want(Wait& wait) override;
  void Serve(const Wait& wait, int64_t nowMs) override;

 private:
  struct Client {
    Fd socket;
    std::string input;
    std::string output;
    int64_t lastActiveMs = 0;  // when it last sent or took something
    bool ended = false;        // nothing more comes
    bool skipping = false;  // what comes is thrown away, up to the end of a line that was too long
  };

  Problem Open();
  void Accept(int64_t nowMs);
  bool ServeClient(Client& client, bool ready, int64_t nowMs);
  bool Receive(Client& client);
  bool AnswerLines(Client& client);
  std::string Answer(const std::string& line) const;
  static bool Flush(Client& client);

  const std::string m_path;
  const Handler m_handler;
  const Answers m_answers;
  std::unique_ptr<FileLock> m_lock;
  Fd m_listener;
  std::list<Client> m_clients;
  int64_t m_acceptFromMs = 0;
};

}  // namespace host

#endif  // HOST_DEVICE_CONTROLSOCKET_H_
