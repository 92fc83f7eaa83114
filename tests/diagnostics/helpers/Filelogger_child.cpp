// Filelogger_child.cpp - the child program of the log and debug-print tests.
//   debugprint     sends, through the debugger channel, the markers "<begin>",
//                  "<mid>", "<nul>", "<long>", "<end>" with OutputDebugStringA
//                  and between them VskDebugPrint("%d", 5), VskDebugPrintBCB
//                  (with arguments it must not read), VskDebugPrint("a%cb", 0)
//                  and VskDebugPrint of 1000 'x'; exit 0.
//   wait <event>   waits up to 60 s for the named event to be set; exit 0 when
//                  it was, 1 otherwise. Started with handle inheritance on, it
//                  holds every inheritable handle of its parent meanwhile.
#include "diagnostics/VskDebug.h"
#include "platform/Win32.h"

#include <cstring>
#include <string>

int main(int argc, char** argv) {
    if (argc >= 2 && std::strcmp(argv[1], "debugprint") == 0) {
        OutputDebugStringA("<begin>");
        VskDebugPrint("%d", 5);
        OutputDebugStringA("<mid>");
        VskDebugPrintBCB("%d %s", 6, reinterpret_cast<const char*>(1));
        OutputDebugStringA("<nul>");
        VskDebugPrint("a%cb", 0);
        OutputDebugStringA("<long>");
        VskDebugPrint("%s", std::string(1000, 'x').c_str());
        OutputDebugStringA("<end>");
        return 0;
    }
    if (argc >= 3 && std::strcmp(argv[1], "wait") == 0) {
        HANDLE event = OpenEventA(SYNCHRONIZE, FALSE, argv[2]);
        if (!event)
            return 2;
        const DWORD result = WaitForSingleObject(event, 60000);
        CloseHandle(event);
        return result == WAIT_OBJECT_0 ? 0 : 1;
    }
    return 3;
}
