// First_failure_child.cpp - a fresh process whose first library failure is
// a load of the missing file named by argv[1]. Exits with the thread's last
// error as the catch block sees it, or 1000 when the load did not throw.
#include "foundation/Vskstr.h"

#include <windows.h>

#include <stdexcept>

int main(int argc, char** argv) {
    if (argc < 2)
        return 1001;
    vskstr::CVskStr text;
    try {
        text.LoadFromFile(argv[1]);
    } catch (const std::runtime_error&) {
        return static_cast<int>(GetLastError());
    }
    return 1000;
}
