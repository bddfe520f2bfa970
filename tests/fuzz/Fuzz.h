// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_FUZZ_FUZZ_H_
#define TESTS_FUZZ_FUZZ_H_

// For targets that stand on the fakes.

#include "Input.h"
#include "fakes/Platform.h"
#include "fakes/Service.h"

namespace fuzz {

// Forgets what the doubles recorded during the last input.
void Forget();

}  // namespace fuzz

#endif  // TESTS_FUZZ_FUZZ_H_
