// The console width on Linux: the terminal's window size.

#include <sys/ioctl.h>
#include <unistd.h>

#include <initializer_list>

#include "vantrell/platform/Console.h"

namespace pwr {
namespace platform {

bool getConsoleWidth(int& columns) {
    for (int fd : {STDOUT_FILENO, STDERR_FILENO, STDIN_FILENO}) {
        struct winsize size {};
        if (::ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col != 0) {
            columns = size.ws_col;
            return true;
        }
    }
    return false;
}

}  // namespace platform
}  // namespace pwr
