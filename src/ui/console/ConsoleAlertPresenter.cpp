#include "ui/console/ConsoleAlertPresenter.h"

namespace halvex {

void ConsoleAlertPresenter::mostra(const Alert& alert) {
  const auto& r = alert.request;
  line("[alert " + alert.tag() + "] " + r.processName + " wants to connect to " + r.processIP + " port " +
       r.processPort + " (" + r.processUDPorTCP + "), user " + std::to_string(r.processUID));
}

void ConsoleAlertPresenter::close(const Alert& alert, const std::string& how, const std::string& replySuffix) {
  line("[alert " + alert.tag() + "] " + how + replySuffix);
}

void ConsoleAlertPresenter::line(const std::string& text) const {
  std::fprintf(out_, "%s\n", text.c_str());
  std::fflush(out_);
  logger_.log(text);
}

}  // namespace halvex
