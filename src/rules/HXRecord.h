#pragma once
// One row of the view of an app's rule entries, made on demand and never stored. Rows live on
// the main loop; only their host-name operation runs elsewhere, and it comes back to the main
// loop to change `recordLabel`. A row is made once and stays where it was made (held by
// std::shared_ptr in the lists), because its pending look-up refers to it.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "rules/HostNameOperation.h"
#include "rules/RulesContext.h"
#include "runtime/Graphics.h"

namespace halvex {

class HXRecord {
 public:
  // Removes every "@" and "#" from `recordAddress`, wherever they stand; the prefix, the rule
  // image and the label colour come from `rule` (0 pass, anything else block). The host-name
  // operation is made ready here and started only by whoever queues it.
  HXRecord(const RulesContext& context, std::string_view recordAddress, std::string recordType, Image recordImage,
           std::int64_t rule);
  ~HXRecord();
  HXRecord(const HXRecord&) = delete;
  HXRecord& operator=(const HXRecord&) = delete;

  static constexpr std::string_view everyone = "Everyone";

  // Shows the address again.
  void displayIP();
  // Replaces `operationDisplayHostName` by a fresh, unstarted one.
  void displayHostName();

  std::string recordAddress;
  std::string recordType;
  Image recordImage;
  std::string recordLabel;
  Image recordCountryImage;
  std::int64_t recordRule = 0;
  Image recordRuleImage;
  std::string recordPrefix;
  std::shared_ptr<HostNameOperation> operationDisplayHostName;
  bool recordIsEnabled = true;
  Color labelColor;

 private:
  const RulesContext* context_;
  // Dropped by the destructor, so a look-up that finishes later leaves the label alone.
  std::shared_ptr<int> alive_ = std::make_shared<int>(0);
};

}  // namespace halvex
