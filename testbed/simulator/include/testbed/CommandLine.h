// How the test bed's programs (demo, fault suite, benchmark) read their
// command line: only the options they know, each with its value.
#pragma once

#include <boost/program_options.hpp>

namespace testbed {

// Fills given from argv; false for an unknown option, a missing or bad value.
// The caller links Boost::program_options.
inline bool readCommandLine(int argc, char** argv,
                            const boost::program_options::options_description& known,
                            boost::program_options::variables_map& given) {
    namespace po = boost::program_options;
    try {
        po::store(po::command_line_parser(argc, argv).options(known).run(), given);
        po::notify(given);
    } catch (const po::error&) {
        return false;
    }
    return true;
}

}  // namespace testbed
