// SPDX-License-Identifier: Apache-2.0
// Starts cloudclientctl.
#include "ctl/Commands.h"

int main(int argc, char** argv) { return ctl::Main(argc, argv); }
