// tavric: the command-line tool of the Tavric probe calibration library.
//
// Subcommands: calibrate, transform, show, check, verify, simulate, report,
// version, help. Every number it prints comes from the library. Exit status: 0 when
// the library said "OK", 1 when it returned a failure text or raised an
// error (or standard output could not be written), 2 for a usage error, 3
// when --strict was given and a warning was raised.
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <iostream>
#include <vector>

#include "Commands.h"
#include "OutputFiles.h"
#include "Suggest.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/Error.h"
#include "tavric/RuntimeError.h"

namespace {

using namespace tavric::cli;

std::string LibraryVersion() { return tavric::ClsProbeCalibration().DLLVersion(); }

int Run(int argc, char** argv) {
  CLI::App app{"Calibrates analogue scanning probes from scans of a reference sphere.", "tavric"};
  app.require_subcommand(1);
  app.fallthrough();
  app.set_version_flag("--version", LibraryVersion());
  bool quiet = false;
  app.add_flag("-q,--quiet", quiet,
               "Print nothing on standard output but what --json or -o - asks for; failures "
               "are still written on standard error");

  const std::vector<Command> commands = {AddCalibrate(app), AddTransform(app), AddShow(app),
                                         AddCheck(app),     AddVerify(app),    AddSimulate(app),
                                         AddReport(app)};
  app.add_subcommand("version", "Print the library's version");
  const Command help = AddHelp(app);

  if (!CommandNameKnown(app, argc, argv)) return kExitUsage;
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int status = app.exit(e);
    if (status == 0) return kExitOk;
    SuggestOptions(app, argc, argv);
    return kExitUsage;
  }
  if (quiet) BeQuiet();

  try {
    if (app.got_subcommand("version")) {
      std::cout << LibraryVersion() << '\n';
      return kExitOk;
    }
    if (help.subcommand->parsed()) return help.run();
    for (const Command& command : commands) {
      if (command.subcommand->parsed()) return command.run();
    }
  } catch (const tavric::Error& e) {
    Fail(e.text(), e.diagnostic());
    return e.code() == tavric::ErrorCode::kInvalidOption ? kExitUsage : kExitFailure;
  } catch (const tavric::RuntimeError& e) {
    return Fail("Error " + std::to_string(e.Number()) + " : " + e.Description());
  } catch (const std::exception& e) {
    return Fail(e.what());
  }
  return kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef SIGPIPE
  // A closed pipe is reported as a failed write below, not a silent death.
  std::signal(SIGPIPE, SIG_IGN);
#endif
  int status = Run(argc, argv);
  errno = 0;
  if (!StandardOutputWritten()) {
    const int error = errno;
    std::cerr << "tavric: standard output could not be written"
              << (error != 0 ? std::string(": ") + std::strerror(error) : std::string()) << '\n';
    if (status == kExitOk || status == kExitWarnings) status = kExitFailure;
  }
  return status;
}
