#pragma once
// Two small services about a remote address: its reverse host name and a whois report, plus a
// reachability test of the registry's whois service. None of them ever runs on the main loop.

#include <atomic>
#include <chrono>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

#include "commands/CommandRunner.h"
#include "platform/HostNames.h"
#include "platform/TcpProbe.h"
#include "runtime/ConcurrentQueue.h"
#include "runtime/MainLoop.h"
#include "runtime/NotificationCenter.h"

namespace halvex {

inline constexpr std::string_view kWhoisHost = "whois.arin.net";
inline constexpr std::uint16_t kWhoisPort = 43;
inline constexpr std::string_view kStartWhoisQuery = "startwhoisquery";
// The reachability test gives up after 10000 polls of 500 microseconds.
inline constexpr std::chrono::milliseconds kWhoisProbeTimeout{5000};

// A whois report as it is printed: every "# ", then every "#", then every "% " removed.
std::string cleanWhoisText(std::string text);

class HXSockController {
 public:
  HXSockController(HostNames& hostNames, TcpProbe& probe, const CommandRunner& runner, MainLoop& loop,
                   ConcurrentQueue& background, NotificationCenter& notifications, std::ostream& report,
                   std::string whoisProgram = "/usr/bin/whois");

  // "1" not open (also while a test is under way), "2" open.
  std::string responseString() const;

  // The first reverse name of the address, if any. Blocks: call off the main loop.
  std::optional<std::string> hostName(const std::string& address) const;
  // Looks the name up on `queue` and hands it (or nothing) to `deliver` on the main loop.
  void lookUpHostName(std::string address, ConcurrentQueue& queue,
                      std::function<void(std::optional<std::string>)> deliver);

  // The cleaned whois report of an address, or "ERROR". Only a text that parses as one IPv4 or
  // IPv6 address is looked up, in its canonical form; anything else is "ERROR" and runs nothing.
  // Blocks: call off the main loop.
  std::string whoisReport(const std::string& address) const;
  // The report of the alert's address, fetched in the background and printed on the report
  // stream (it is not shown in a window). `done` (optional) runs on the main loop afterwards.
  void clickWhois(std::string parameterProcessIP, std::function<void(const std::string&)> done = {});

  // Tests whether the whois service can be reached, in the background and bounded by
  // kWhoisProbeTimeout; then sets responseString on the main loop and posts "startwhoisquery".
  void checkWhois(std::string host = std::string(kWhoisHost), std::uint16_t port = kWhoisPort,
                  std::chrono::milliseconds timeout = kWhoisProbeTimeout);

 private:
  HostNames& hostNames_;
  TcpProbe& probe_;
  const CommandRunner& runner_;
  MainLoop& loop_;
  ConcurrentQueue& background_;
  NotificationCenter& notifications_;
  std::ostream& report_;
  const std::string whoisProgram_;
  std::atomic<bool> whoisOpen_{false};
};

}  // namespace halvex
