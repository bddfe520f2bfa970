// SPDX-License-Identifier: Apache-2.0
// Answers of operations.
#include "service/redfish/Call.h"

namespace cloudservice {

Answer Found(Json document) {
  Answer answer;
  answer.document = std::move(document);
  return answer;
}

Answer Created(Json document) {
  Answer answer = Found(std::move(document));
  answer.status = 201;
  return answer;
}

Answer Done() {
  Answer answer;
  answer.status = 204;
  return answer;
}

}  // namespace cloudservice
