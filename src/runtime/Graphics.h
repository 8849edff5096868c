#pragma once
// Images, colours and attributed strings as plain data. The core holds no pixels: an image is
// its name, a colour its RGBA (with the name of the system colour it stands for, when it is
// one), an attributed string its text plus styled ranges. The front end turns them into pixels.

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace halvex {

// A named image: a resource of the bundle, a system image ("NSComputer"), a theme icon name of
// the desktop, or the absolute path of a picture file. An empty name is no image. A clipped image
// is drawn inside the ellipse of its size (a circle when square).
struct Image {
  std::string name;
  bool clipRound = false;
  double width = 0;
  double height = 0;

  static Image named(std::string imageName) { return Image{std::move(imageName)}; }
  bool empty() const { return name.empty(); }
  bool operator==(const Image&) const = default;
};

// A colour as RGBA in 0..1. System colours that follow the desktop's appearance carry their
// name in `systemName`; their RGBA is the value for a light appearance.
struct Color {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 0;
  std::string systemName;

  static Color rgba(double r, double g, double b, double a = 1.0) { return Color{r, g, b, a, {}}; }
  static Color redColor() { return Color{1, 0, 0, 1, "redColor"}; }
  static Color orangeColor() { return Color{1, 0.5, 0, 1, "orangeColor"}; }
  static Color magentaColor() { return Color{1, 0, 1, 1, "magentaColor"}; }
  static Color grayColor() { return Color{0.5, 0.5, 0.5, 1, "grayColor"}; }
  static Color blackColor() { return Color{0, 0, 0, 1, "blackColor"}; }
  static Color yellowColor() { return Color{1, 1, 0, 1, "yellowColor"}; }
  static Color labelColor() { return Color{0, 0, 0, 0.85, "labelColor"}; }
  static Color controlTextColor() { return Color{0, 0, 0, 1, "controlTextColor"}; }
  static Color textColor() { return Color{0, 0, 0, 1, "textColor"}; }

  // No colour at all (a field that was never set).
  bool isEmpty() const { return alpha == 0 && red == 0 && green == 0 && blue == 0 && systemName.empty(); }
  bool operator==(const Color&) const = default;
};

enum class TextAlignment { natural, left, center, right };

// The attributes of one range. Unset members leave the front end's default.
struct TextAttributes {
  std::optional<Color> foregroundColor;
  std::optional<Color> backgroundColor;
  bool boldSystemFont = false;
  std::optional<TextAlignment> paragraphAlignment;

  bool operator==(const TextAttributes&) const = default;
};

// A range of the text, in bytes of its UTF-8 form, with its attributes. Later ranges override
// earlier ones where they overlap.
struct TextRun {
  std::size_t location = 0;
  std::size_t length = 0;
  TextAttributes attributes;

  bool operator==(const TextRun&) const = default;
};

struct AttributedString {
  std::string text;
  std::vector<TextRun> runs;

  static AttributedString plain(std::string text) { return AttributedString{std::move(text), {}}; }
  // The whole text in one paragraph of the given alignment.
  static AttributedString aligned(std::string text, TextAlignment alignment) {
    AttributedString s{std::move(text), {}};
    TextAttributes attributes;
    attributes.paragraphAlignment = alignment;
    s.runs.push_back(TextRun{0, s.text.size(), attributes});
    return s;
  }
  void addAttributes(std::size_t location, std::size_t length, TextAttributes attributes) {
    runs.push_back(TextRun{location, length, std::move(attributes)});
  }
  bool empty() const { return text.empty(); }
  bool operator==(const AttributedString&) const = default;
};

}  // namespace halvex
