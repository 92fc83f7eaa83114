// Report_module.cpp - a DLL with nothing in it, loaded from a long path by
// the crash-report tests to see its path in the module list.
extern "C" __declspec(dllexport) int VskReportModuleMarker() { return 7; }
