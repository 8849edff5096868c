#pragma once
// Every Linux adapter of the system's ports, made together: what a program on this machine hands
// to the agent's composition.

#include <string>

#include "platform/linux/DbusNotificationCenter.h"
#include "platform/linux/DpkgCodeSignatures.h"
#include "platform/linux/LinuxBundleInfo.h"
#include "platform/linux/LinuxDirectoryListing.h"
#include "platform/linux/LinuxFileIcons.h"
#include "platform/linux/LinuxFileSystem.h"
#include "platform/linux/LinuxHostNames.h"
#include "platform/linux/LinuxProcessControl.h"
#include "platform/linux/LinuxProcessInfo.h"
#include "platform/linux/LinuxProcessOwners.h"
#include "platform/linux/LinuxProcessRunner.h"
#include "platform/linux/LinuxRunningApplications.h"
#include "platform/linux/LinuxStandardStreams.h"
#include "platform/linux/LinuxSystemUsers.h"
#include "platform/linux/LinuxTcpProbe.h"
#include "platform/linux/LinuxUnixDatagramSockets.h"
#include "platform/linux/LinuxWallClock.h"

namespace halvex {

struct LinuxSystem {
  // `root` separates agents of different system roots when counting the running instances.
  LinuxSystem(MainLoop& loop, const LineLogger& logger, const std::string& root)
      : runningApplications("halvex", root), distributedCenter(loop, logger) {}

  LinuxProcessControl processControl;
  LinuxProcessRunner processRunner;
  LinuxFileSystem fileSystem;
  LinuxProcessInfo processInfo;
  LinuxProcessOwners processOwners;
  LinuxUnixDatagramSockets sockets;
  LinuxStandardStreams streams;
  LinuxRunningApplications runningApplications;
  DbusNotificationCenter distributedCenter;
  LinuxFileIcons fileIcons;
  LinuxHostNames hostNames;
  LinuxBundleInfo bundleInfo;
  DpkgCodeSignatures codeSignatures{processRunner};
  LinuxTcpProbe tcpProbe;
  LinuxDirectoryListing directoryListing;
  LinuxSystemUsers systemUsers;
  LinuxWallClock wallClock;
};

}  // namespace halvex
