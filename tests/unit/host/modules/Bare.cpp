// SPDX-License-Identifier: Apache-2.0
// A library that is no module.
extern "C" int Bare();
extern "C" int Bare() { return 0; }
