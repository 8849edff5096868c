#include "intelligence/HXSockController.h"

#include <mutex>
#include <ostream>

#include "rules/NumericAddress.h"

namespace halvex {
namespace {

std::string removeAll(std::string text, std::string_view what) {
  for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at)) text.erase(at, what.size());
  return text;
}

std::mutex& reportMutex() {
  static std::mutex m;
  return m;
}

}  // namespace

std::string cleanWhoisText(std::string text) {
  text = removeAll(std::move(text), "# ");
  text = removeAll(std::move(text), "#");
  return removeAll(std::move(text), "% ");
}

HXSockController::HXSockController(HostNames& hostNames, TcpProbe& probe, const CommandRunner& runner, MainLoop& loop,
                                   ConcurrentQueue& background, NotificationCenter& notifications, std::ostream& report,
                                   std::string whoisProgram)
    : hostNames_(hostNames),
      probe_(probe),
      runner_(runner),
      loop_(loop),
      background_(background),
      notifications_(notifications),
      report_(report),
      whoisProgram_(std::move(whoisProgram)) {}

std::string HXSockController::responseString() const { return whoisOpen_.load() ? "2" : "1"; }

std::optional<std::string> HXSockController::hostName(const std::string& address) const {
  const auto names = hostNames_.namesForAddress(address);
  if (names.empty() || names.front().empty()) return std::nullopt;
  return names.front();
}

void HXSockController::lookUpHostName(std::string address, ConcurrentQueue& queue,
                                      std::function<void(std::optional<std::string>)> deliver) {
  queue.async([this, address = std::move(address), deliver = std::move(deliver)] {
    auto name = hostName(address);
    loop_.post([deliver, name = std::move(name)] { deliver(name); });
  });
}

std::string HXSockController::whoisReport(const std::string& address) const {
  // Only an address rebuilt from its parsed bytes goes into the command line (digits, a to f, "."
  // and ":"), so a text from outside can never become a second shell command.
  const auto numeric = numericAddress(address);
  if (!numeric) return std::string(kScriptError);
  std::string result = runner_.quietScript(whoisProgram_ + " " + *numeric);
  if (result == kScriptError) return result;
  return cleanWhoisText(result);
}

void HXSockController::clickWhois(std::string parameterProcessIP, std::function<void(const std::string&)> done) {
  background_.async([this, address = std::move(parameterProcessIP), done = std::move(done)] {
    const std::string report = whoisReport(address);
    {
      std::lock_guard lock(reportMutex());
      report_ << report << std::endl;
    }
    if (done) loop_.post([done, report] { done(report); });
  });
}

void HXSockController::checkWhois(std::string host, std::uint16_t port, std::chrono::milliseconds timeout) {
  whoisOpen_.store(false);
  background_.async([this, host = std::move(host), port, timeout] {
    const bool open = probe_.canConnect(host, port, timeout);
    loop_.post([this, open] {
      whoisOpen_.store(open);
      notifications_.post(std::string(kStartWhoisQuery));
    });
  });
}

}  // namespace halvex
