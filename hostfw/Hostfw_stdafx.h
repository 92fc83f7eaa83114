// Hostfw_stdafx.h - export macro of the host-framework stand-in (hostfw.dll).
#pragma once

#if defined(HOSTFW_BUILDING_DLL)
#define HOSTFW_API __declspec(dllexport)
#else
#define HOSTFW_API __declspec(dllimport)
#endif
