// The agent's program: reads the options, builds the Linux ports and the front end, hands them to
// the composition, and runs the front end's loop until the agent quits.

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>

#include "agent/Composition.h"
#include "platform/linux/LinuxSignalWatcher.h"
#include "platform/linux/LinuxSystem.h"
#include "runtime/Paths.h"
#include "ui/console/ConsoleFrontEnd.h"

using namespace halvex;

namespace {

void usage(std::FILE* out) {
  std::fputs(
      "usage: halvex [--headless] [--answers FILE]\n"
      "  --headless       run with the console presenter (the default where there is no display)\n"
      "  --answers FILE   read answers to alerts and dialogs, and commands, from FILE (a FIFO works)\n"
      "                   instead of standard input\n"
      "Environment: HALVEX_ROOT re-roots every system path; HOME and XDG_CONFIG_HOME /\n"
      "XDG_STATE_HOME place the per-user files; HALVEX_RESOURCES names the resources folder.\n"
      "Signals: SIGTERM or SIGINT quit and leave the filter running; SIGUSR1 quits and stops it.\n",
      out);
}

std::string findResources() {
  if (const char* env = std::getenv("HALVEX_RESOURCES"); env && *env) return env;
  std::error_code ec;
  if (std::filesystem::is_directory(HALVEX_DATADIR, ec)) return HALVEX_DATADIR;
  return HALVEX_SOURCE_RESOURCES;
}

struct Options {
  std::string answers;
};

// Nothing to run, else the exit code of the options' answer.
std::optional<int> readOptions(int argc, char** argv, Options& options) {
  for (int i = 1; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--answers")) {
      if (i + 1 >= argc) {
        std::fputs("halvex: --answers needs a file\n", stderr);
        return 2;
      }
      options.answers = argv[++i];
      continue;
    }
    if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
      usage(stdout);
      return 0;
    }
    if (!std::strcmp(argv[i], "--version")) {
      std::printf("halvex %s\n", HALVEX_VERSION);
      return 0;
    }
    if (std::strcmp(argv[i], "--headless") != 0) {
      std::fprintf(stderr, "halvex: unknown option %s\n", argv[i]);
      usage(stderr);
      return 2;
    }
  }
  return std::nullopt;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (const auto answered = readOptions(argc, argv, options)) return *answered;
  // A FIFO opens once its writer is there: the agent waits for its answers' source.
  std::FILE* answers = stdin;
  if (!options.answers.empty() && !(answers = std::fopen(options.answers.c_str(), "r"))) {
    std::fprintf(stderr, "halvex: cannot read answers from %s: %s\n", options.answers.c_str(), std::strerror(errno));
    return 2;
  }

  LineLogger logger("halvex", static_cast<int>(::getpid()));
  const Paths paths(PathEnvironment::fromLookup(
      [](const char* name) -> std::optional<std::string> {
        const char* v = std::getenv(name);
        return v ? std::optional<std::string>(v) : std::nullopt;
      },
      findResources()));
  LinuxProcessRunner frontEndRunner;

  // The windowed front end is still to come: every agent runs on the console for now.
  ConsoleFrontEnd frontEnd(logger, frontEndRunner);

  // Before any thread exists, so that every thread inherits the blocked quit signals.
  Composition* agent = nullptr;
  LinuxSignalWatcher signals(
      frontEnd.mainLoop(),
      [&] {
        if (agent) agent->appDelegate.terminate();
      },
      [&] {
        if (agent) agent->appDelegate.alternateQuitHalvexAgent();
      });

  LinuxSystem machine(frontEnd.mainLoop(), logger, paths.environment().root);
  Composition composition(Ports{paths,
                                logger,
                                machine.fileSystem,
                                machine.processInfo,
                                machine.processControl,
                                machine.processOwners,
                                machine.processRunner,
                                machine.sockets,
                                machine.streams,
                                machine.runningApplications,
                                machine.distributedCenter,
                                machine.fileIcons,
                                machine.hostNames,
                                machine.bundleInfo,
                                machine.codeSignatures,
                                machine.tcpProbe,
                                machine.directoryListing,
                                machine.systemUsers,
                                machine.wallClock,
                                std::cerr,
                                machine.codeSignatures.vendor(),
                                static_cast<std::int32_t>(::getuid())},
                          frontEnd.bundle());
  agent = &composition;
  frontEnd.attach(composition, answers, ::isatty(::fileno(answers)) == 1);

  composition.launch();
  const int code = frontEnd.run();
  // The reader thread stays blocked in its receive for the life of the process: end here,
  // without unwinding the objects it uses.
  machine.processControl.exitProcess(code);
}
