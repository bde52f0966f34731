#include "support/log_calls.h"

#include "support/platform_stand_in.h"

namespace test_support {

LogCalls& LogCalls::Get() {
    static LogCalls calls;
    return calls;
}

void LogCalls::Reset() {
    *this = LogCalls();
    PlatformCalls::Get().Reset();
}

}  // namespace test_support

using test_support::LogCalls;
using test_support::Refused;

extern "C" {

void STAND_IN(OutputDebugStringA)(LPCSTR text) {
    LogCalls::Get().debugOutput.emplace_back(text);
    // What a real one may do.
    SetLastError(1);
    _set_errno(1);
}

DWORD STAND_IN(GetTempPathA)(DWORD size, LPSTR buffer) {
    LogCalls& calls = LogCalls::Get();
    calls.temporaryRooms.push_back(size);
    if (Refused("GetTempPathA")) {
        return 0;
    }
    if (!calls.temporaryFolder.has_value()) {
        return REAL(GetTempPathA)(size, buffer);
    }
    const std::string& folder = *calls.temporaryFolder;
    const auto length = static_cast<DWORD>(folder.size());
    if (length >= size) {
        return length + 1;
    }
    buffer[folder.copy(buffer, length)] = '\0';
    return length;
}

HMODULE STAND_IN(GetModuleHandleA)(LPCSTR name) {
    return Refused("GetModuleHandleA") ? nullptr : REAL(GetModuleHandleA)(name);
}

FARPROC STAND_IN(GetProcAddress)(HMODULE module, LPCSTR name) {
    return Refused("GetProcAddress") ? nullptr : REAL(GetProcAddress)(module, name);
}

HANDLE STAND_IN(CreateEventA)(LPSECURITY_ATTRIBUTES security, BOOL isManual, BOOL isSignalled,
                              LPCSTR name) {
    LogCalls::Get().events.push_back({security != nullptr, isManual, isSignalled, name != nullptr});
    return Refused("CreateEventA") ? nullptr
                                   : REAL(CreateEventA)(security, isManual, isSignalled, name);
}

DWORD STAND_IN(WaitForSingleObject)(HANDLE object, DWORD milliseconds) {
    return Refused("WaitForSingleObject") ? DWORD{WAIT_FAILED}
                                          : REAL(WaitForSingleObject)(object, milliseconds);
}

BOOL STAND_IN(ResetEvent)(HANDLE event) {
    return Refused("ResetEvent") ? FALSE : REAL(ResetEvent)(event);
}

HANDLE STAND_IN(CreateFileA)(LPCSTR name, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                             DWORD disposition, DWORD attributes, HANDLE form) {
    LogCalls::Get().openings.push_back({name, access, share, disposition, attributes});
    return Refused("CreateFileA")
               ? INVALID_HANDLE_VALUE
               : REAL(CreateFileA)(name, access, share, security, disposition, attributes, form);
}

BOOL STAND_IN(LockFileEx)(HANDLE file, DWORD flags, DWORD reserved, DWORD low, DWORD high,
                          LPOVERLAPPED start) {
    LogCalls::Get().lockings.push_back(
        {flags, low, high, ULONGLONG{start->OffsetHigh} << 32 | start->Offset});
    return Refused("LockFileEx") ? FALSE
                                 : REAL(LockFileEx)(file, flags, reserved, low, high, start);
}

DWORD STAND_IN(SetFilePointer)(HANDLE file, LONG distance, PLONG high, DWORD method) {
    return Refused("SetFilePointer") ? DWORD{INVALID_SET_FILE_POINTER}
                                     : REAL(SetFilePointer)(file, distance, high, method);
}

BOOL STAND_IN(WriteFile)(HANDLE file, LPCVOID data, DWORD size, LPDWORD written,
                         LPOVERLAPPED overlapped) {
    return Refused("WriteFile") ? FALSE : REAL(WriteFile)(file, data, size, written, overlapped);
}

BOOL STAND_IN(CloseHandle)(HANDLE handle) {
    // Closed all the same, as it would otherwise stay open.
    const bool isRefused = Refused("CloseHandle");
    return REAL(CloseHandle)(handle) && !isRefused;
}

}  // extern "C"
