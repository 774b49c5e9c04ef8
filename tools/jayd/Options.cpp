#include "tools/jayd/Options.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <getopt.h>
#include <string>

#include "tools/common/Harmless.h"

namespace {

constexpr int HIGHEST_PORT = 65535;

// Options without a letter have numbers that no letter has.
enum LongOnly { LOCAL_ONLY = 256, LISTEN_ALL, LOG, PID_FILE };

constexpr option LONG_OPTIONS[] = {{"port", required_argument, nullptr, 'p'},
                                   {"listen-all", no_argument, nullptr, LISTEN_ALL},
                                   {"local-only", no_argument, nullptr, LOCAL_ONLY},
                                   {"log", required_argument, nullptr, LOG},
                                   {"pid-file", required_argument, nullptr, PID_FILE},
                                   {"quiet", no_argument, nullptr, 'q'},
                                   {"version", no_argument, nullptr, 'V'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {nullptr, 0, nullptr, 0}};

/** The text as a port, 0 if it is none. */
int portOf(const char* text) {
    int port = 0;
    const char* const end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, port);
    const bool isPort = error == std::errc() && rest == end && port >= 1 && port <= HIGHEST_PORT;
    return isPort ? port : 0;
}

Options refuse(const char* format, const char* text) {
    std::fputs("jayd: ", stderr);
    std::fprintf(stderr, format, harmless(text).c_str());
    std::fputs("; 'jayd --help' shows the usage\n", stderr);
    Options options;
    options.action = Options::REFUSE;
    return options;
}

/**
 * getopt_long() tells what it does not take in three ways: the number of an option that takes no value, a letter, or
 * nothing but the argument that it stopped behind.
 */
Options refuseUnknown(char** argv) {
    if (optopt >= LOCAL_ONLY) return refuse("'%s' takes no value", argv[optind - 1]);
    const char* const word = argv[optind - 1];
    const char letter[] = {'-', static_cast<char>(optopt), '\0'};
    const bool isLong = optopt == 0 || std::strncmp(word, "--", 2) == 0;  // --quiet=3 comes as its letter
    return refuse("there is no option '%s', or it takes no value", isLong ? word : letter);
}

/** What an option says that takes a value. */
Options withValue(Options options, int found) {
    if (found == 'p') {
        options.port = portOf(optarg);
        if (options.port == 0) return refuse("'%s' is not a port: give a number from 1 to 65535", optarg);
    } else if (found == LOG) {
        options.log = optarg;
        if (options.log.empty()) return refuse("'%s' needs the name of a file", "--log");
    } else {
        options.pidFile = optarg;
        if (options.pidFile.empty()) return refuse("'%s' needs the name of a file", "--pid-file");
    }
    return options;
}

}  // namespace

Options Options::parse(int argc, char** argv) {
    Options options;
    bool localOnly = false;  // the default; older scripts say it
    opterr = 0;
    optind = 0;  // parse() may be called more than once
    while (options.action == SERVE) {
        const int found = getopt_long(argc, argv, ":p:qVh", LONG_OPTIONS, nullptr);
        if (found == -1) break;
        if (found == ':') return refuse("'%s' needs a value", argv[optind - 1]);
        if (found == '?') return refuseUnknown(argv);
        if (found == 'V') options.action = SHOW_VERSION;
        if (found == 'h') options.action = SHOW_HELP;
        if (found == 'q') options.quiet = true;
        if (found == LISTEN_ALL) options.listenAll = true;
        if (found == LOCAL_ONLY) localOnly = true;
        if (found == 'p' || found == LOG || found == PID_FILE) options = withValue(options, found);
    }
    if (options.action != SERVE) return options;
    if (optind < argc) return refuse("unexpected argument '%s'", argv[optind]);
    if (options.listenAll && localOnly)
        return refuse("%s", "--listen-all and --local-only exclude each other");
    return options;
}
