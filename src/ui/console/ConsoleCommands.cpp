#include "ui/console/ConsoleCommands.h"

#include <atomic>
#include <mutex>
#include <utility>

#include "commands/CommandRunner.h"
#include "rules/NumericAddress.h"

namespace halvex {
namespace {

constexpr std::size_t kMaxPathBytes = 4096;

struct CodePoint {
  char32_t value;
  std::size_t length;
};

// The code point that starts at `at`, or nothing for bytes that are no UTF-8 (overlong forms,
// surrogates and values beyond U+10FFFF included).
std::optional<CodePoint> decodeAt(std::string_view s, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(s[i]); };
  const unsigned b0 = byte(at);
  if (b0 < 0x80) return CodePoint{b0, 1};
  std::size_t length;
  char32_t value;
  unsigned low = 0x80, high = 0xBF;  // range of the second byte
  if (b0 >= 0xC2 && b0 <= 0xDF) length = 2, value = b0 & 0x1F;
  else if (b0 >= 0xE0 && b0 <= 0xEF) {
    length = 3, value = b0 & 0x0F;
    if (b0 == 0xE0) low = 0xA0;
    if (b0 == 0xED) high = 0x9F;
  } else if (b0 >= 0xF0 && b0 <= 0xF4) {
    length = 4, value = b0 & 0x07;
    if (b0 == 0xF0) low = 0x90;
    if (b0 == 0xF4) high = 0x8F;
  } else {
    return std::nullopt;
  }
  if (at + length > s.size()) return std::nullopt;
  for (std::size_t i = 1; i < length; ++i) {
    const unsigned b = byte(at + i);
    if (b < (i == 1 ? low : 0x80) || b > (i == 1 ? high : 0xBF)) return std::nullopt;
    value = (value << 6) | (b & 0x3F);
  }
  return CodePoint{value, length};
}

// Characters that steer a terminal or the direction of the text rather than show themselves.
bool isControl(char32_t c) {
  return (c < 0x20 && c != '\t') || c == 0x7F || (c >= 0x80 && c <= 0x9F) || c == 0x200E || c == 0x200F ||
         c == 0x2028 || c == 0x2029 || (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

std::string escaped(char32_t c) {
  char text[16];
  if (c < 0x100) std::snprintf(text, sizeof text, "\\x%02x", static_cast<unsigned>(c));
  else std::snprintf(text, sizeof text, "\\u%04x", static_cast<unsigned>(c));
  return text;
}

bool isBlank(char c) { return c == ' ' || c == '\t'; }

std::string_view trimmed(std::string_view s) {
  while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
  while (!s.empty() && isBlank(s.back())) s.remove_suffix(1);
  return s;
}

}  // namespace

std::optional<std::string> consoleLineFault(std::string_view line) {
  if (line.size() > ConsoleCommands::kMaxLineBytes)
    return "[error] line too long: " + std::to_string(line.size()) + " bytes, at most " +
           std::to_string(ConsoleCommands::kMaxLineBytes) + "; nothing done";
  for (std::size_t at = 0; at < line.size();) {
    const auto c = decodeAt(line, at);
    if (!c) return "[error] byte " + std::to_string(at + 1) + " is not UTF-8 text; nothing done";
    if (isControl(c->value))
      return "[error] control character " + escaped(c->value) + " at byte " + std::to_string(at + 1) + "; nothing done";
    at += c->length;
  }
  return std::nullopt;
}

std::string printableText(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const auto c = decodeAt(text, at);
    if (!c) {
      out += "\xEF\xBF\xBD";
      ++at;
      continue;
    }
    if (c->value == '\t') out += ' ';
    else if (isControl(c->value)) out += escaped(c->value);
    else out.append(text.substr(at, c->length));
    at += c->length;
  }
  return out;
}

// Where the lines go: shared with the look-ups under way, so that they can still answer.
struct ConsoleCommands::Output {
  std::FILE* file;
  std::mutex mutex;
  std::atomic<std::size_t> pending{0};

  void line(const std::string& text) {
    std::lock_guard lock(mutex);
    std::fwrite(text.data(), 1, text.size(), file);
    std::fputc('\n', file);
    std::fflush(file);
  }
  void started() { pending.fetch_add(1); }
  void done() { pending.fetch_sub(1); }
};

ConsoleCommands::ConsoleCommands(HXSockController& sock, const HXFlagsController& flags, SignatureInspector& signatures,
                                 const ProcessOwners& owners, const FileSystem& files, ConcurrentQueue& background,
                                 ConcurrentQueue& findFlag, MainLoop& loop, std::FILE* out)
    : sock_(sock),
      flags_(flags),
      signatures_(signatures),
      owners_(owners),
      files_(files),
      background_(background),
      findFlag_(findFlag),
      loop_(loop),
      out_(std::make_shared<Output>()) {
  out_->file = out;
}

std::size_t ConsoleCommands::pending() const { return out_->pending.load(); }

void ConsoleCommands::execute(std::string_view line) {
  if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  if (const auto fault = consoleLineFault(line)) {
    out_->line(*fault);
    return;
  }
  line = trimmed(line);
  if (line.empty()) return;
  std::size_t blank = 0;
  while (blank < line.size() && !isBlank(line[blank])) ++blank;
  const std::string command(line.substr(0, blank));
  const std::string argument(trimmed(line.substr(blank)));
  // The line passed the checks above, so echoing what was typed is safe.
  const std::string shown = "[" + command + (argument.empty() ? "" : " " + printableText(argument)) + "] ";

  if (command == "help") return help(false);
  if (command == "user") {
    if (!argument.empty()) return out_->line("[user] takes no argument");
    return user();
  }
  if (command == "whois" || command == "host" || command == "country") {
    if (argument.empty()) return out_->line("[" + command + "] usage: " + command + " ADDRESS");
    const auto address = numericAddress(argument);
    if (!address) return out_->line(shown + "not an IPv4 or IPv6 address");
    if (command == "whois") return whois(shown, *address);
    if (command == "host") return host(shown, *address);
    return country(shown, *address);
  }
  if (command == "signature") {
    if (argument.empty()) return out_->line("[signature] usage: signature PATH");
    if (argument.front() != '/') return out_->line(shown + "not an absolute path");
    if (argument.size() > kMaxPathBytes) return out_->line(shown + "path too long");
    return signature(shown, argument);
  }
  help(true);
}

void ConsoleCommands::help(bool unknown) {
  if (unknown) out_->line("[help] unknown command; the commands are:");
  for (const char* text : {"whois ADDRESS      the whois report of an IPv4 or IPv6 address",
                           "host ADDRESS       the host name of an address", "country ADDRESS    where an address lies",
                           "signature PATH     who vouches for a program (an absolute path)",
                           "user               the user at the console", "help               this list"})
    out_->line(std::string("[help] ") + text);
}

void ConsoleCommands::whois(const std::string& shown, const std::string& address) {
  out_->started();
  background_.async([&sock = sock_, &loop = loop_, out = out_, shown, address] {
    std::string report = sock.whoisReport(address);
    loop.post([out, shown, report = std::move(report)] {
      if (report == kScriptError) {
        out->line(shown + "ERROR: no whois report");
      } else if (report.empty()) {
        out->line(shown + "(empty report)");
      } else {
        std::size_t from = 0;
        while (from < report.size()) {
          auto end = report.find('\n', from);
          if (end == std::string::npos) end = report.size();
          std::string_view text(report.data() + from, end - from);
          if (!text.empty() && text.back() == '\r') text.remove_suffix(1);
          out->line(shown + printableText(text));
          from = end + 1;
        }
      }
      out->done();
    });
  });
}

void ConsoleCommands::host(const std::string& shown, const std::string& address) {
  out_->started();
  sock_.lookUpHostName(address, background_, [out = out_, shown](std::optional<std::string> name) {
    out->line(shown + (name ? printableText(*name) : "no host name"));
    out->done();
  });
}

void ConsoleCommands::country(const std::string& shown, const std::string& address) {
  if (address.find('.') == std::string::npos)
    return out_->line(shown + "no location: the country zones hold IPv4 networks only");
  out_->started();
  findFlag_.async([&flags = flags_, &loop = loop_, out = out_, shown, address] {
    // With a dotted address the location is missing only while no zone data is loaded.
    const auto location = flags.locate(address);
    loop.post([out, shown, text = location ? location->name : "no country data loaded"] {
      out->line(shown + text);
      out->done();
    });
  });
}

void ConsoleCommands::signature(const std::string& shown, const std::string& path) {
  out_->started();
  background_.async([&files = files_, &signatures = signatures_, &loop = loop_, out = out_, shown, path] {
    if (!files.fileExists(path)) {
      loop.post([out, shown] {
        out->line(shown + "no such file");
        out->done();
      });
      return;
    }
    // Each step repeats what came before it: print only what is new. Touched on the loop only.
    auto printed = std::make_shared<AlertSignature>();
    signatures.inspectForAlert(
        path,
        [out, shown, printed](const AlertSignature& now) {
          const auto isNew = [](const std::string& now, const std::string& before) {
            return !now.empty() && now != before;
          };
          if (isNew(now.processSignatureValidity, printed->processSignatureValidity))
            out->line(shown + now.processSignatureValidity);
          if (isNew(now.processSignatureAuthor, printed->processSignatureAuthor))
            out->line(shown + printableText(now.processSignatureAuthor) +
                      (now.ledAppleSignature ? " (the system's vendor)" : ""));
          *printed = now;
        },
        [out] { out->done(); });
  });
}

void ConsoleCommands::user() {
  out_->started();
  background_.async([&owners = owners_, &loop = loop_, out = out_] {
    const auto uid = owners.consoleUser();
    std::string text = "no console user";
    if (uid) {
      const auto name = owners.userName(*uid);
      text = name ? printableText(*name) + " (uid " + std::to_string(*uid) + ")"
                  : "uid " + std::to_string(*uid) + " (no user name)";
    }
    loop.post([out, text = std::move(text)] {
      out->line("[user] " + text);
      out->done();
    });
  });
}

}  // namespace halvex
