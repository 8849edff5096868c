#include "rules/HostNameOperation.h"

#include "platform/HostNames.h"

namespace halvex {

HostNameOperation::HostNameOperation(std::string address, const HostNames& hostNames, Completion completion)
    : address_(std::move(address)), hostNames_(hostNames), completion_(std::move(completion)) {}

void HostNameOperation::start() {
  State expected = State::ready;
  if (cancelled_ || !state_.compare_exchange_strong(expected, State::executing)) return;
  const auto names = hostNames_.namesForAddress(address_);
  if (!names.empty() && !cancelled_ && completion_) completion_(names.front());
  state_ = State::finished;
}

}  // namespace halvex
