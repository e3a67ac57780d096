// halcyon-hostdevice: runs a host device and talks to it. See --help.

#include <hostdevice/Commands.h>

#include <cstring>

namespace hostdevice {
namespace {

constexpr const char* kHelp =
        "usage: %s COMMAND [ARGS]\n"
        "\n"
        "Host device:\n"
        "  start DIR [--foreground]   run a host device on state directory DIR (daemonised\n"
        "                             unless --foreground; pid file DIR/hostdevice.pid)\n"
        "  stop DIR                   stop the host device of DIR\n"
        "  status DIR                 print whether a host device runs in DIR\n"
        "\n"
        "Clients of the host device named by HALCYON_HOST_DEVICE=DIR:\n"
        "  getprop [NAME]             one property, or all as [name]: [value]\n"
        "  setprop NAME VALUE         set a system property\n"
        "  settings get KEY | put KEY VALUE [string|int|bool] | delete KEY | list\n"
        "  device_config get NAMESPACE KEY | put NAMESPACE KEY VALUE | delete NAMESPACE KEY\n"
        "                | list NAMESPACE\n"
        "The client commands also run under their own names (a link named getprop, ...).\n"
        "\n"
        "Exit status: 0 done; 1 not set (get, delete); 2 usage error; 3 no host device\n"
        "running; 4 value refused (invalid name or value, value too long, \"ro.\" already\n"
        "set); 5 failure in the host device; 6 a host device already runs in DIR.\n";

struct Command {
    const char* name;
    int (*run)(const Args&, FILE*, FILE*);
};

constexpr Command kCommands[] = {
        {"start", startCommand},
        {"stop", stopCommand},
        {"status", statusCommand},
        {"getprop", getpropCommand},
        {"setprop", setpropCommand},
        {"settings", settingsCommand},
        {"device_config", deviceConfigCommand},
};

}  // namespace

int runCommandLine(const std::string& programName, const Args& args, FILE* out, FILE* err) {
    const std::string base = programName.substr(programName.find_last_of('/') + 1);
    for (const Command& command : kCommands) {
        if (base == command.name) return command.run(args, out, err);
    }
    if (args.empty()) {
        std::fprintf(err, "usage: %s COMMAND [ARGS] (try --help)\n", base.c_str());
        return kExitUsage;
    }
    if (args[0] == "--help" || args[0] == "-h") {
        std::fprintf(out, kHelp, base.c_str());
        return kExitOk;
    }
    for (const Command& command : kCommands) {
        if (args[0] == command.name)
            return command.run(Args(args.begin() + 1, args.end()), out, err);
    }
    std::fprintf(err, "%s: unknown command '%s' (try --help)\n", base.c_str(), args[0].c_str());
    return kExitUsage;
}

}  // namespace hostdevice

int main(int argc, char** argv) {
    return hostdevice::runCommandLine(argv[0], hostdevice::Args(argv + 1, argv + argc), stdout,
                                      stderr);
}
