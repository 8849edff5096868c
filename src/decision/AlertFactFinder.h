#pragma once
// The alert's facts as the agent finds them: icons from the desktop, the host name from the
// resolver and the service name from the system's list of services (on "mostraQueue"), the
// location from the country zones (on "findFlag"), the user's picture from the users read once at
// start, and the signature through the inspector. Every look-up runs off the main loop; what it
// cannot find leaves the window as it was.

#include <memory>
#include <mutex>
#include <vector>

#include "commands/CommandRunner.h"
#include "decision/AlertFacts.h"
#include "intelligence/HXFlagsController.h"
#include "intelligence/SignatureFacts.h"
#include "platform/FileIcons.h"
#include "platform/HostNames.h"
#include "platform/ProcessOwners.h"
#include "platform/SystemUsers.h"
#include "runtime/ConcurrentQueue.h"

namespace halvex {

class AlertFactFinder final : public AlertFacts {
 public:
  struct Links {
    const FileIcons& fileIcons;
    const HostNames& hostNames;
    const CommandRunner& commandRunner;
    const HXFlagsController& flags;
    ConcurrentQueue& findFlag;
    const SystemUsers& systemUsers;
    const ProcessOwners& processOwners;
    SignatureInspector& signatures;
  };
  explicit AlertFactFinder(Links links) : links_(links) {}
  // Ends the look-ups before what they use goes.
  ~AlertFactFinder() override { mostraQueue_.stop(); }

  // Reads the system's users once; until then every user shows the computer.
  void awakeFromNib();

  void processIcon(const std::string& path, const std::string& viaPath, const Deliver& deliver) override;
  void hostAndService(const Request& request, const Deliver& deliver) override;
  void country(const std::string& address, const Deliver& deliver) override;
  void userPicture(std::int32_t uid, const Deliver& deliver) override;
  void signature(const std::string& path, const Deliver& deliver) override;

 private:
  std::shared_ptr<const std::vector<SystemUser>> users() const;

  Links links_;
  ConcurrentQueue mostraQueue_{"mostraQueue"};
  mutable std::mutex usersMutex_;
  std::shared_ptr<const std::vector<SystemUser>> users_ = std::make_shared<std::vector<SystemUser>>();
};

}  // namespace halvex
