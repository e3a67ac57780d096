#pragma once

// The host device's program: the daemon's start/stop/status and the client commands that
// platform engineers know. Each takes its arguments (after the command's own name) and
// answers the process exit status; output goes to `out`, one-line complaints to `err`.

#include <cstdio>
#include <string>
#include <vector>

namespace hostdevice {

// Exit statuses of every command.
enum ExitStatus : int {
    kExitOk = 0,
    kExitNotFound = 1,     // get/delete of something that is not set
    kExitUsage = 2,        // unknown command or subcommand, wrong arguments
    kExitNoDevice = 3,     // HALCYON_HOST_DEVICE unset, or no host device running there
    kExitRefused = 4,      // the device refused the value (name, length, "ro.", type)
    kExitDeviceError = 5,  // the device failed (storage, lost connection, time-out)
    kExitAlreadyRunning = 6,
};

using Args = std::vector<std::string>;

int startCommand(const Args& args, FILE* out, FILE* err);
int stopCommand(const Args& args, FILE* out, FILE* err);
int statusCommand(const Args& args, FILE* out, FILE* err);
int getpropCommand(const Args& args, FILE* out, FILE* err);
int setpropCommand(const Args& args, FILE* out, FILE* err);
int settingsCommand(const Args& args, FILE* out, FILE* err);
int deviceConfigCommand(const Args& args, FILE* out, FILE* err);

// Runs the command named by args[0] (or by the program's own name, for links named after a
// command); prints help for --help.
int runCommandLine(const std::string& programName, const Args& args, FILE* out, FILE* err);

}  // namespace hostdevice
