// sendctrlc PID: presses Ctrl+C in the console of a program. A program of its own, because whoever
// sends the event must belong to that console, and to no other.
#include <cstdlib>

#include <windows.h>

int main(int argc, char **argv)
{
    const DWORD program = argc == 2 ? DWORD(std::strtoul(argv[1], nullptr, 10)) : 0;
    FreeConsole();
    if (program == 0 || !AttachConsole(program))
        return 1;
    SetConsoleCtrlHandler(nullptr, TRUE); // it reaches everybody in the console, this program too
    return GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) ? 0 : 1;
}
