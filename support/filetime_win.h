// filetime_win.h - the six date-time bytes of a Win32 file time (Windows
// faces only).
#ifndef VELNOR_SUPPORT_FILETIME_WIN_H
#define VELNOR_SUPPORT_FILETIME_WIN_H

#include <windows.h>

#include <cstdint>

// The file time (UTC) as local time, through the packed DOS date and time.
void filetimebytes(const FILETIME* utc, uint8_t* out);

#endif
