#include "decision/HXNotifyController.h"

#include <memory>

#include "decision/HXNotifyWindowController.h"
#include "link/RequestLine.h"
#include "link/managesocketagent.h"

namespace halvex {

HXNotifyController::HXNotifyController(DecisionContext& context, std::int32_t uid)
    : myUID(uid), mymanagesocketagent(&context.mymanagesocketagent), context_(context) {}

std::uint32_t HXNotifyController::nextRequestCounter(std::uint32_t counter) {
  if (counter == 999999) counter = 1;
  return counter + 1;
}

void HXNotifyController::addRequest(const std::string& line) {
  auto& globals = context_.globals;
  const std::string stripped = withoutLineFeeds(line);
  auto fields = parseRequestLine(stripped);
  if (!fields) {
    // Dropped without a word to the daemon; the next line is taken.
    globals.synchronizedNotification.resume();
    return;
  }

  globals.requestCounter = nextRequestCounter(globals.requestCounter);
  const std::string tag = std::to_string(globals.requestCounter);

  const std::int32_t pid = pidFromField(fields->processPid);
  const std::string path = mymanagesocketagent->infoprocess(pid);
  if (path == "error") {
    // The process has gone between its connect and now: pass it, and no controller is made.
    mymanagesocketagent->sendsocketagent(stripped + std::string(kReplyPassApp));
    globals.synchronizedNotification.resume();
    return;
  }

  auto controller = std::make_shared<HXNotifyWindowController>(context_);
  globals.notifyControllers[tag] = controller;
  const std::string uid = std::to_string(mymanagesocketagent->infoRootProcess(pid));
  if (globals.debugFlag && context_.logger)
    context_.logger->print("request " + tag + " pid " + fields->processPid + " path " + path + " uid " + uid + "\n");
  controller->setNotifyParameters(fields->processPid, path, uid, fields->processIP, fields->processPort,
                                  fields->processUDPorTCP, fields->processIPversion, line, tag,
                                  fields->responsibleApp);
}

}  // namespace halvex
