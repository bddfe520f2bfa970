// SPDX-License-Identifier: Apache-2.0
// Signing in and out, and the interface's description.
#include "service/api/Api.h"
#include "service/api/Body.h"
#include "service/api/Description.h"
#include "service/api/Error.h"

namespace cloudservice {

Response OperatorApi::GetDescription(const Call&) {
  // The members keep the order that they have in the file.
  static const std::string text = nlohmann::ordered_json::parse(kDescription).dump();
  Response response;
  response.lasting = text;
  return response;
}

Response OperatorApi::SignIn(const Call& call) {
  const Json body = BodyOf(call.request);
  const Identity who = m_operators.Check(call.request.peer, RequiredText(body, "name"),
                                         RequiredText(body, "password"));
  if (who.wait > 0) {
    Response response = Refused(call.request, 429, "Too many wrong passwords from this address.");
    response.SetHeader("Retry-After", std::to_string(who.wait));
    return response;
  }
  if (!who.person) throw ApiError(401, "The name or the password is wrong.");
  m_operators.End(call.credentials.session);
  m_log.Line("operator signed in: " + who.name + " from " + call.request.peer);
  Response response;
  response.status = 204;
  response.SetHeader("Set-Cookie", Cookie(m_operators.Begin(*who.person), ""));
  return response;
}

Response OperatorApi::GetSession(const Call& call) {
  return ApiAnswer(
      200, {{"name", call.who.name}, {"version", CLOUDSERVICE_VERSION}, {"command", m_command}});
}

Response OperatorApi::SignOut(const Call& call) {
  m_operators.End(call.credentials.session);
  m_feed.End(call.credentials.session);
  Response response;
  response.status = 204;
  response.SetHeader("Set-Cookie", Cookie("", "; Max-Age=0"));
  return response;
}

std::string OperatorApi::Cookie(const std::string& session, const char* attributes) const {
  return "session=" + session + "; Path=/; HttpOnly; SameSite=Strict" +
         (m_secure ? "; Secure" : "") + attributes;
}

}  // namespace cloudservice
