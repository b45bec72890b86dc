#pragma once

// The whole program behind main(): parse the arguments, run one command.

namespace host {

// The exit status. Wrong usage is told in one line on standard error.
int dispatch(int argc, const char* const* argv);

}  // namespace host
