// What the preferences and the configuration do to the app library: they change it through the
// library controller, so the grid, the mirror and the daemon follow as after the library's own
// operations.

#include <gtest/gtest.h>

#include "configuration/HXPreferencesController.h"
#include "management/LibraryWorld.h"

namespace halvex::test {
namespace {

// The preferences window linked to the world's library and configuration.
struct Preferences {
  explicit Preferences(LibraryWorld& w)
      : controller(HXPreferencesController::Links{w.globals, w.paths, w.defaults, w.center, w.dialogs}) {
    controller.halvexcontroller = &w.controller;
    controller.halvexconfiguration = &w.configuration;
  }
  HXPreferencesController controller;
};

TEST(LibraryFromOutside, TurningOnXpcManagementDropsTheServicesFromGridMirrorAndDaemon) {
  LibraryWorld w;
  Preferences prefs(w);
  w.load("/opt/svc.xpc/Contents/MacOS/svc", 1);
  w.load("/opt/a", 0);
  w.load("/Applications/A.app/Contents/XPCServices/S.xpc/Contents/MacOS/S", 4);  // the bundle's path is A.app
  w.load("/usr/libexec/x.xpc/Contents/MacOS/x", 4);
  w.settle();
  w.select(0);

  prefs.controller.view.managexpc.state = true;
  prefs.controller.changeManageXPC();
  w.settle();
  EXPECT_EQ(w.gridNames(), (Names{"a", "A.app"}));
  EXPECT_EQ(w.mirrorNames(), w.gridNames());
  EXPECT_EQ(w.daemonBinaries(), (Names{"/opt/a", "A.app/"})) << "the daemon forgets the services";
  EXPECT_FALSE(w.controller.appsGrid.selectionIndex) << "the selected service went with the list";
}

}  // namespace
}  // namespace halvex::test
