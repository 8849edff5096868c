#pragma once
// The people of this machine: each login name with the picture the desktop shows for it.

#include <optional>
#include <string>
#include <vector>

namespace halvex {

// A picture file and its size in pixels; a size of 0 is a picture that could not be read.
struct UserPicture {
  std::string path;
  double width = 0;
  double height = 0;
  bool operator==(const UserPicture&) const = default;
};

struct SystemUser {
  std::string posixName;
  // Nothing when the user has no picture.
  std::optional<UserPicture> image;
  bool operator==(const SystemUser&) const = default;
};

class SystemUsers {
 public:
  virtual ~SystemUsers() = default;
  // Reads the users and their pictures. Blocks on the password database and the disk: call it off
  // the main loop, once.
  virtual std::vector<SystemUser> systemUsers() const = 0;
};

}  // namespace halvex
