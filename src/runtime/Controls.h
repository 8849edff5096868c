#pragma once
// The controls of a view as plain data: a controller writes them on the main loop and raises its
// change signal; a front end draws them and calls the controller's actions. Each member is named
// for what a control shows, never for how a toolkit draws it.

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/Graphics.h"

namespace halvex {

struct Rect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  bool operator==(const Rect&) const = default;
};

// A box or image that is only shown or hidden.
struct View {
  bool hidden = false;
};
struct CheckBox {
  bool state = false;
  bool enabled = true;
};
struct Button {
  std::string title;
  bool state = false;
  bool hidden = false;
  bool enabled = true;
};
struct Slider {
  double value = 0;
  bool enabled = true;
  double minValue = 0;
  double maxValue = 0;
  bool hidden = false;
};
struct TextLabel {
  std::string text;
  bool hidden = false;
};
struct TextField {
  std::string text;
};
struct MenuItem {
  std::string title;
  std::string toolTip;
  bool hidden = false;
  bool enabled = true;
};
struct Matrix {
  std::int64_t selectedRow = 0;
  bool enabled = true;
  // One flag per cell; a matrix without flags has every cell enabled.
  std::vector<bool> cellEnabled;
};
struct PopUpButton {
  std::vector<std::string> items;
  std::string selectedTitle;
  bool enabled = true;
  std::int64_t selectedIndex = -1;
  bool hidden = false;

  // Selects the item at `index` (its title too); an index out of range selects nothing.
  void select(std::int64_t index) {
    const bool inRange = index >= 0 && static_cast<std::size_t>(index) < items.size();
    selectedIndex = inRange ? index : -1;
    selectedTitle = inRange ? items[static_cast<std::size_t>(index)] : std::string();
  }
};
struct ProgressIndicator {
  double minValue = 0;
  double maxValue = 0;
  double value = 0;
  bool hidden = true;
};
struct ColorWell {
  Color color;
  bool enabled = true;
};

}  // namespace halvex
