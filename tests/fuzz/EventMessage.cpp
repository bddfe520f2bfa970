// SPDX-License-Identifier: Apache-2.0
// The text of a point event's message, and its document.
#include "Fuzz.h"
#include "https/HttpsClient.h"
#include "patch/PatchMgr.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const char* const types[] = {"", "pld", "pldQueryArgs", "old"};
  static fakes::Service service;
  static cloudclient::HttpsClient client;
  static uint32_t code = 0;
  static const cloudclient::HttpsResult initialised = client.InitCurl(code);
  fuzz::Require(initialised == cloudclient::kHttpsOk, "the transport is ready");
  service.answers("PATCH", "*", 204).answers("POST", "*", 201);
  cloudclient::PatchMgr patch;
  patch.SetPldProxy(&fakes::platform().proxy);

  fuzz::Input input(data, size);
  cloudclient::PointPatchEntry entry;
  entry.arg1Type = types[input.Choice(4)];
  entry.arg2Type = types[input.Choice(4)];
  entry.numArgs = static_cast<int32_t>(input.Choice(5)) - 1;
  fakes::platform().pages.texts["httpGetSet/httpGet.htm"] = input.Text();
  fakes::platform().proxy.points[1] = input.Text();
  entry.arg1 = input.Text();
  entry.arg2 = input.Text();
  entry.message = input.Rest();

  std::string arg1;
  std::string arg2;
  const std::string text = patch.BuildEventMessage(1, 1, entry, arg1, arg2);
  fuzz::Require(entry.numArgs > 0 || text.empty(), "without arguments there is no text");
  fuzz::Require(text.find(arg1) != std::string::npos || entry.numArgs <= 0,
                "the message shows its first argument");
  const int32_t result = patch.SendEventForPoint(1, 1, 0, entry, &client, "17", "label");
  fuzz::Require(result == 0 || result == 5, "with a URL and a UUID a post is 0 or 5");
  service.forget();
  fuzz::Forget();
  return 0;
}
