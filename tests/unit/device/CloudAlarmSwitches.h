// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_DEVICE_CLOUDALARMSWITCHES_H_
#define TESTS_UNIT_DEVICE_CLOUDALARMSWITCHES_H_

#include <cstddef>
#include <optional>

// What these tests put in the place of symbols by the linker's --wrap. Each case is a process of
// its own: nothing is set back.

// The platform's text of its cleared state, as the daemon reads it; "Cleared" until it is changed.
void SetPlatformClearedText(const char* text);

// The index for which json_array_get answers null.
void SetMissingArrayElement(std::optional<size_t> index);

#endif  // TESTS_UNIT_DEVICE_CLOUDALARMSWITCHES_H_
