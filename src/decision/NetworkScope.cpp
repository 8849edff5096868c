// The network a rule may hold for: three IPv4 networks made from the address's text, or an IPv6
// network the person types, checked as it is typed.

#include <vector>

#include "decision/HXNotifyWindowController.h"
#include "rules/DVMatchIP.h"

namespace halvex {
namespace {

constexpr const char* kSetNetworkTitle = "Set network address...";

// The first three "."-separated parts of the address; missing parts are empty.
std::vector<std::string> leadingParts(const std::string& address) {
  std::vector<std::string> parts(3);
  std::size_t start = 0;
  for (auto& part : parts) {
    if (start > address.size()) break;
    const auto dot = address.find('.', start);
    part = address.substr(start, dot == std::string::npos ? std::string::npos : dot - start);
    if (dot == std::string::npos) break;
    start = dot + 1;
  }
  return parts;
}

}  // namespace

void HXNotifyWindowController::fillNetworks() {
  const std::string& address = parameters.processIP;
  window.matrixlabel1.text = "Port " + parameters.processPort;
  window.matrixlabel2.text = address;
  if (address.find('.') != std::string::npos) {
    const auto p = leadingParts(address);
    window.matrixnetA.title = p[0] + ".0.0.0/8";
    window.matrixnetB.title = p[0] + "." + p[1] + ".0.0/16";
    window.matrixnetC.title = p[0] + "." + p[1] + "." + p[2] + ".0/24";
    for (auto* item : {&window.matrixnetA, &window.matrixnetB, &window.matrixnetC}) item->toolTip = item->title;
    window.matrixlabel3.items = {window.matrixnetA.title, window.matrixnetB.title, window.matrixnetC.title};
    window.matrixlabel3.select(0);
  } else {
    window.matrixlabel3V6Title.title = kSetNetworkTitle;
    window.matrixlabel3V6.items = {kSetNetworkTitle, ""};
    window.matrixlabel3V6.select(0);
    window.addSubnetString.text.clear();
    window.addSubnetCaution.hidden = true;
    window.addSubnetError.text.clear();
  }
}

void HXNotifyWindowController::setSubnetV6(const std::string& text) {
  window.addSubnetString.text = text;
  if (!text.empty()) {
    const DVMatchIP matcher;
    const char* error = !matcher.validateIPV6cidr(text)                  ? "invalid IPv6 network address"
                        : !matcher.matchIPV6(parameters.processIP, text) ? "address outside network range"
                                                                         : nullptr;
    window.actionMatrix.cellEnabled.resize(4, true);
    window.addSubnetCaution.hidden = error == nullptr;
    window.addSubnetError.text = error ? error : "";
    window.actionMatrix.cellEnabled[kRowNetwork] = error == nullptr;
    window.actionMatrix.selectedRow = error ? kRowAddress : kRowNetwork;
    window.matrixlabel3V6Title.title = error ? kSetNetworkTitle : text;
    if (!window.matrixlabel3V6.items.empty()) window.matrixlabel3V6.items[0] = window.matrixlabel3V6Title.title;
    window.matrixlabel3V6.select(0);
  }
  // An empty field changes nothing else: a warning stands as it was.
  updateMatrixGUI();
  refresh();
}

}  // namespace halvex
