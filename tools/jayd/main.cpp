/** @file jayd: the bus server as a program that stays in the foreground until a signal ends it. */
#include "tools/common/Startup.h"
#include "tools/jayd/Help.h"
#include "tools/jayd/Options.h"
#include "tools/jayd/Serve.h"
#include "tools/jayd/Status.h"

int main(int argc, char** argv) {
    openStandardDescriptors();
    const Options options = Options::parse(argc, argv);
    switch (options.action) {
        case Options::SHOW_HELP:
            return showHelp();
        case Options::SHOW_VERSION:
            return showVersion();
        case Options::REFUSE:
            return WRONG_USE;
        default:
            return serve(options);
    }
}
