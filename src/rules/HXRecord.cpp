#include "rules/HXRecord.h"

#include <algorithm>

#include "runtime/MainLoop.h"

namespace halvex {

HXRecord::HXRecord(const RulesContext& context, std::string_view address, std::string type, Image image,
                   std::int64_t rule)
    : recordType(std::move(type)), recordImage(std::move(image)), recordRule(rule), context_(&context) {
  recordAddress.reserve(address.size());
  std::copy_if(address.begin(), address.end(), std::back_inserter(recordAddress),
               [](char c) { return c != '@' && c != '#'; });
  recordLabel = recordAddress;
  const bool passes = rule == 0;
  recordRuleImage = Image::named(passes ? "passedup" : "blockedup");
  recordPrefix = passes ? "@" : "#";
  labelColor = passes ? Color::textColor() : Color::redColor();
  recordIsEnabled = !(recordAddress == everyone && !context.notificationsEnabled());
  displayHostName();
}

HXRecord::~HXRecord() {
  if (operationDisplayHostName) operationDisplayHostName->cancel();
}

void HXRecord::displayIP() { recordLabel = recordAddress; }

void HXRecord::displayHostName() {
  if (operationDisplayHostName) operationDisplayHostName->cancel();
  // The completion checks its own operation, which exists only once made: it learns it here.
  auto ownOperation = std::make_shared<std::weak_ptr<HostNameOperation>>();
  std::weak_ptr<int> alive = alive_;
  MainLoop* loop = &context_->mainLoop;
  HXRecord* self = this;
  auto operation = std::make_shared<HostNameOperation>(
      recordAddress, context_->hostNames, [alive, ownOperation, loop, self](const std::string& name) {
        loop->post([alive, weakOperation = *ownOperation, self, name] {
          const auto operation = weakOperation.lock();
          if (alive.expired() || !operation || operation->isCancelled()) return;
          self->recordLabel = name;
        });
      });
  *ownOperation = operation;
  operationDisplayHostName = std::move(operation);
}

}  // namespace halvex
