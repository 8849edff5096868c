#pragma once
// The users of the password database who can log in (root, and the uids from UID_MIN to UID_MAX
// of the login definitions), with the pictures the account service keeps under their names.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/SystemUsers.h"

namespace halvex {

// The size of a PNG, GIF or JPEG picture from its first bytes; nothing for any other content.
std::optional<std::pair<double, double>> pictureSize(std::string_view bytes);

// The range of ordinary users' uids that a login definitions text gives (1000 to 60000 where it
// says nothing).
std::pair<std::int64_t, std::int64_t> loginUidRange(std::string_view loginDefs);

class LinuxSystemUsers final : public SystemUsers {
 public:
  explicit LinuxSystemUsers(std::string loginDefs = "/etc/login.defs",
                            std::string iconsDirectory = "/var/lib/AccountsService/icons")
      : loginDefs_(std::move(loginDefs)), iconsDirectory_(std::move(iconsDirectory)) {}

  std::vector<SystemUser> systemUsers() const override;

 private:
  std::optional<UserPicture> pictureOf(const std::string& name) const;

  std::string loginDefs_;
  std::string iconsDirectory_;
};

}  // namespace halvex
