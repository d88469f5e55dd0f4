// vantrell: the reference host. It loads the plug-ins beside it, collects the chosen features of this
// machine on the library's worker thread until the time is up, Ctrl-C or the program given with -p
// ends, and prints the summary tables through the chosen writers.
//
//   vantrell [-f FEATURE]... [-t SECONDS] [-n MS] [-o PREFIX] [-r FORMAT]... [-p PROGRAM ARGS...]
//   vantrell -h        (all options, and the features and result formats of this machine)

#include <iostream>

#include "Collection.h"
#include "CommandLine.h"
#include "Host.h"
#include "MachineProbe.h"

int main(int argc, char** argv) {
    vantrell::HostOptions options;
    switch (vantrell::parseCommandLine(argc, argv, options, std::cout, std::cerr)) {
        case vantrell::CommandLineResult::ExitOk:
            return 0;
        case vantrell::CommandLineResult::ExitUsage:
            return 2;
        case vantrell::CommandLineResult::Help:
        case vantrell::CommandLineResult::Run:
            break;
    }
    if (options.printFms) {
        std::cout << vantrell::fmsText(vantrell::readFms()) << "\n";
        return 0;
    }
    // Before any thread exists, so that only the collection's wait sees Ctrl-C.
    vantrell::blockCollectionSignals();
    vantrell::Host host(options);
    if (const int status = host.setUp(!options.help)) {
        return status;
    }
    if (options.help) {
        host.printHelp(std::cout);
        return 0;
    }
    return host.collect();
}
