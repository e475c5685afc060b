// quelby-website: runs the stand-in airline website on 127.0.0.1 until
// interrupted, optionally with the demo airline.
#include <signal.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include "testbed/Website.h"

namespace {

const char* const kUsage =
    "usage: quelby-website [--port N] [--db FILE] [--demo] [--client-version V]\n"
    "  --port N            port on 127.0.0.1 (default 0: the system picks one)\n"
    "  --db FILE           SQLite database file (default: in memory)\n"
    "  --demo              seed the demo airline (pilot \"demo\", password \"demo\")\n"
    "  --client-version V  the client version the site expects (default v2.0.10b)\n";

bool parsePort(const char* text, int& port) {
    char* end = nullptr;
    const long value = std::strtol(text, &end, 10);
    if (end == text || *end != '\0' || value < 0 || value > 65535) {
        return false;
    }
    port = static_cast<int>(value);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int port = 0;
    std::string databasePath;
    std::string clientVersion;
    bool demo = false;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        const bool hasValue = i + 1 < argc;
        if (option == "--port" && hasValue && parsePort(argv[i + 1], port)) {
            ++i;
        } else if (option == "--db" && hasValue) {
            databasePath = argv[++i];
        } else if (option == "--client-version" && hasValue) {
            clientVersion = argv[++i];
        } else if (option == "--demo") {
            demo = true;
        } else if (option == "--help" || option == "-h") {
            std::cout << kUsage;
            return 0;
        } else {
            std::cerr << "quelby-website: bad option " << option << "\n" << kUsage;
            return 2;
        }
    }

    // A shell starts background programs with SIGINT ignored, and an ignored
    // signal never reaches sigwait: take both back to their default first.
    signal(SIGINT, SIG_DFL);
    signal(SIGTERM, SIG_DFL);
    // Block the stop signals before any thread starts, so that every thread
    // inherits the mask and only sigwait below takes them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);

    try {
        testbed::Website website(databasePath);
        if (demo) {
            website.seedDemo();
        }
        if (!clientVersion.empty()) {
            website.setClientVersion(clientVersion);
        }
        if (!website.start(port)) {
            std::cerr << "quelby-website: cannot listen on 127.0.0.1:" << port << "\n";
            return 1;
        }
        std::cout << "listening on http://" << website.url() << std::endl;
        int received = 0;
        sigwait(&stopSignals, &received);
        std::cout << "stopping (" << strsignal(received) << ")" << std::endl;
        website.stop();
    } catch (const std::exception& error) {
        std::cerr << "quelby-website: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
