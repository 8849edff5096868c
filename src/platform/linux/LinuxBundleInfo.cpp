#include "platform/linux/LinuxBundleInfo.h"

#include <fstream>
#include <sstream>
#include <variant>

#include "runtime/PlistIO.h"

namespace halvex {

std::optional<std::string> LinuxBundleInfo::localizedDisplayName(const std::string& path) const {
  std::ifstream in(path + "/Contents/Info.plist", std::ios::binary);
  if (!in) return std::nullopt;
  std::stringstream bytes;
  bytes << in.rdbuf();
  auto parsed = plist::parse(bytes.str());
  const auto* value = std::get_if<plist::Value>(&parsed);
  const auto* dict = value ? value->asDictionary() : nullptr;
  const auto* name = dict ? dict->find("CFBundleDisplayName") : nullptr;
  if (!name || !name->asString()) return std::nullopt;
  return *name->asString();
}

}  // namespace halvex
