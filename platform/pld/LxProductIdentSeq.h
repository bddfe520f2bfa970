// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_PLD_LXPRODUCTIDENTSEQ_H_
#define PLATFORM_PLD_LXPRODUCTIDENTSEQ_H_

#include <string>

// A managed device's product sequence identifier.
class LxProductIdentSeq {
 public:
  virtual ~LxProductIdentSeq() = default;

  // Writes it as text, numbers joined by full stops ("1.2.3"); empty for an empty one.
  virtual void ConvertPsiToStr(std::string& text) const = 0;
};

#endif  // PLATFORM_PLD_LXPRODUCTIDENTSEQ_H_
