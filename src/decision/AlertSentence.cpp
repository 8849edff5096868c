// The alert's sentence and the clipping of its pictures.

#include "commands/CommandRunner.h"
#include "decision/HXNotifyWindowController.h"

namespace halvex {

AttributedString HXNotifyWindowController::generateAttributedDescriptionWithProc(
    const std::string& proc, const std::string& prot, const std::string& addr, const std::string& port,
    const std::string& user, const std::string& nation) {
  // The fields come from the request socket, the resolver and file names: the sentence holds them
  // as valid UTF-8 text and nothing else, and its ranges count that text's bytes.
  const std::string app = toValidUtf8(proc);
  const std::string protocol = toValidUtf8(prot);
  const std::string address = toValidUtf8(addr);
  const std::string portText = toValidUtf8(port);
  const std::string userName = toValidUtf8(user);
  const std::string location = toValidUtf8(nation);

  AttributedString sentence;
  sentence.text = userName + " using " + app + " is trying a " + protocol + " connection to " +
                  (location.empty() ? "" : location + " at") + " " + address + " on port " + portText + ".";

  TextAttributes emphasis;
  emphasis.foregroundColor = Color::labelColor();
  emphasis.boldSystemFont = true;
  // Each field is marked where it first occurs: a word that also stands earlier in the sentence
  // marks the earlier place.
  const auto mark = [&](const std::string& field, std::size_t skip = 0) {
    if (field.size() <= skip) return;
    const auto at = sentence.text.find(field);
    if (at != std::string::npos) sentence.addAttributes(at + skip, field.size() - skip, emphasis);
  };
  mark(protocol);
  mark(address);
  mark("port " + portText, 5);
  mark(userName);
  mark(app);
  mark(location);
  return sentence;
}

Image HXNotifyWindowController::arrotonda(Image image, double width, double height) {
  image.clipRound = true;
  image.width = width;
  image.height = height;
  return image;
}

}  // namespace halvex
