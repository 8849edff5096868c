#pragma once
// Questions a person at a terminal, or a script, asks the headless agent about addresses and
// programs. One line in; answer lines out, each prefixed by the command in brackets
// ("[country 192.0.2.1] Italy"), written and flushed one whole line at a time.
//
//   whois ADDRESS     the whois report, one output line per report line
//   host ADDRESS      the reverse host name
//   country ADDRESS   where the address lies (the alert's location)
//   signature PATH    the signature's validity, then its signer
//   user              the user at the console
//   help              the list of commands; any other line also gets it
//
// Every line is taken as hostile. A line longer than kMaxLineBytes, or one holding control
// characters or bytes that are no UTF-8 text, gets one "[error]" line and nothing else happens.
// An address must parse as one IPv4 or IPv6 address, and only its canonical text goes on; a path
// must be absolute and reaches the inspection as one argument, never through a shell. Text that
// comes back from outside (whois reports, host names, signers) is printed with control characters
// escaped, so nothing it holds can drive the terminal.
//
// The facts are looked up on the given queues, never on the caller's thread, and their lines are
// written on the main loop when they arrive. Immediate answers (help, refusals) are written at
// once on the thread that calls execute, which may be any thread.

#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "intelligence/HXFlagsController.h"
#include "intelligence/HXSockController.h"
#include "intelligence/SignatureFacts.h"
#include "platform/FileSystem.h"
#include "platform/ProcessOwners.h"
#include "runtime/ConcurrentQueue.h"
#include "runtime/MainLoop.h"

namespace halvex {

class ConsoleCommands {
 public:
  // The longest line taken, its line ending not counted: a command word and a path of 4096 bytes
  // fit.
  static constexpr std::size_t kMaxLineBytes = 8192;

  // `background` runs the whois, host, user and signature look-ups; `findFlag` the country
  // look-ups. `out` stays open for the life of the object. The references must outlive every
  // look-up under way; lines of look-ups that end after the object is gone are written all the same.
  ConsoleCommands(HXSockController& sock, const HXFlagsController& flags, SignatureInspector& signatures,
                  const ProcessOwners& owners, const FileSystem& files, ConcurrentQueue& background,
                  ConcurrentQueue& findFlag, MainLoop& loop, std::FILE* out);

  // Takes one input line, with or without its line ending. A blank line does nothing.
  void execute(std::string_view line);

  // Look-ups started whose last line is not written yet.
  std::size_t pending() const;

 private:
  struct Output;

  void help(bool unknown);
  void whois(const std::string& shown, const std::string& address);
  void host(const std::string& shown, const std::string& address);
  void country(const std::string& shown, const std::string& address);
  void signature(const std::string& shown, const std::string& path);
  void user();

  HXSockController& sock_;
  const HXFlagsController& flags_;
  SignatureInspector& signatures_;
  const ProcessOwners& owners_;
  const FileSystem& files_;
  ConcurrentQueue& background_;
  ConcurrentQueue& findFlag_;
  MainLoop& loop_;
  std::shared_ptr<Output> out_;
};

// The first fault of an input line, as the one line that reports it; nothing for a line that may
// be read as a command. `line` is without its line ending.
std::optional<std::string> consoleLineFault(std::string_view line);

// Text from outside made safe for a terminal: bytes that are no UTF-8 become U+FFFD, control
// characters (C0, DEL, C1, direction overrides) are written as \xNN or \uNNNN, a tab as a blank.
std::string printableText(std::string_view text);

}  // namespace halvex
