#include "ui/console/ConsoleAlertPresenter.h"

#include "decision/HXNotifyWindowController.h"

namespace halvex {

void ConsoleAlertPresenter::mostra(std::shared_ptr<HXNotifyWindowController> request) {
  const std::string text = request->parameterProcessName + " wants to connect to " + request->parameterProcessIP +
                           " port " + request->parameterProcessPort + " (" + request->parameterProcessUDPorTCP +
                           "), request " + request->parameterTagString;
  std::fprintf(out_, "[alert] %s\n", text.c_str());
  std::fflush(out_);
  logger_.log("alert: " + text);
}

}  // namespace halvex
