// tavric: the command-line tool of the Tavric probe calibration library.
//
// Subcommands: calibrate, transform, show, check, verify, simulate, report,
// version.
// Every number it prints comes from the library. Exit status: 0 when the
// library said "OK", 1 when it returned a failure text or raised an error, 2
// for a usage error, 3 when --strict was given and a warning was raised.
#include <exception>
#include <iostream>
#include <vector>

#include "Commands.h"
#include "tavric/ClsProbeCalibration.h"
#include "tavric/Error.h"
#include "tavric/RuntimeError.h"

namespace {

std::string LibraryVersion() { return tavric::ClsProbeCalibration().DLLVersion(); }

}  // namespace

int main(int argc, char** argv) {
  using namespace tavric::cli;
  CLI::App app{"Calibrates analogue scanning probes from scans of a reference sphere.", "tavric"};
  app.require_subcommand(1);
  app.set_version_flag("--version", LibraryVersion());

  const std::vector<Command> commands = {AddCalibrate(app), AddTransform(app), AddShow(app),
                                         AddCheck(app),     AddVerify(app),    AddSimulate(app),
                                         AddReport(app)};
  app.add_subcommand("version", "Print the library's version");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int status = app.exit(e);
    return status == 0 ? kExitOk : kExitUsage;
  }

  try {
    if (app.got_subcommand("version")) {
      std::cout << LibraryVersion() << '\n';
      return kExitOk;
    }
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
