#pragma once
// Who vouches for a program file. The answers are texts in the layout of a code-signing tool's
// report, so the readers of those texts work on any platform:
//  - a verification prints nothing for a valid file, a line containing "object is not signed"
//    for a file nobody vouches for, and a complaint for a file that fails its check;
//  - a description prints "Key=value" lines, among them one "Authority=" line per link of the
//    chain, leaf first.

#include <string>

namespace halvex {

enum class SignatureQuery {
  verify,         // quiet verification
  verifyVerbose,  // verification that also says what was valid
  describe,       // description
  describeFull,   // description with every detail
};

class CodeSignatures {
 public:
  virtual ~CodeSignatures() = default;
  // Blocks until the answer is known; call off the main loop.
  virtual std::string inspect(const std::string& path, SignatureQuery query) = 0;
};

}  // namespace halvex
