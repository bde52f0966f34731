#include "state/file_security_windows.h"

// They need windows.h, which the header above has, before them.
#include <aclapi.h>
#include <sddl.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>

namespace state {

namespace {

struct FreeLocal {
    void operator()(void* memory) const { LocalFree(memory); }
};
template <typename Type>
using LocalMemory = std::unique_ptr<Type, FreeLocal>;

// A security identifier with room for any.
struct Sid {
    alignas(DWORD) std::array<std::byte, SECURITY_MAX_SID_SIZE> bytes{};

    PSID Get() { return bytes.data(); }
};

bool OpenEffectiveToken(HANDLE* token) {
    return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token) != FALSE ||
           OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token) != FALSE;
}

bool FindUser(Sid* user) {
    HANDLE token = nullptr;
    if (!OpenEffectiveToken(&token)) {
        return false;
    }
    alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> room{};
    DWORD size = 0;
    const bool isFound = GetTokenInformation(token, TokenUser, room.data(),
                                             static_cast<DWORD>(room.size()), &size) != FALSE;
    CloseHandle(token);
    return isFound && CopySid(static_cast<DWORD>(user->bytes.size()), user->Get(),
                              reinterpret_cast<const TOKEN_USER*>(room.data())->User.Sid) != FALSE;
}

// Those that can open everything anyway, and the user.
class Trusted {
  public:
    Trusted() : isComplete_(FindUser(&user_)) {
        for (const auto& [type, sid] : {std::pair{WinLocalSystemSid, &system_},
                                        std::pair{WinBuiltinAdministratorsSid, &administrators_},
                                        std::pair{WinCreatorOwnerRightsSid, &owner_}}) {
            auto size = static_cast<DWORD>(sid->bytes.size());
            isComplete_ = isComplete_ && CreateWellKnownSid(type, nullptr, sid->Get(), &size);
        }
    }

    bool MayOwn(PSID sid) {
        return isComplete_ && (EqualSid(sid, user_.Get()) || EqualSid(sid, system_.Get()) ||
                               EqualSid(sid, administrators_.Get()));
    }
    bool MayOpen(PSID sid) { return MayOwn(sid) || (isComplete_ && EqualSid(sid, owner_.Get())); }

  private:
    Sid user_;
    Sid system_;
    Sid administrators_;
    Sid owner_;
    bool isComplete_;
};

// Whether the entry gives nobody but `trusted` one of `rights`. One of a kind that is not known
// here is not looked into.
bool IsHarmless(ACCESS_ALLOWED_ACE* entry, Trusted* trusted, ACCESS_MASK rights) {
    if (entry->Header.AceType == ACCESS_DENIED_ACE_TYPE ||
        (entry->Header.AceFlags & INHERIT_ONLY_ACE) != 0) {
        return true;
    }
    if (entry->Header.AceType != ACCESS_ALLOWED_ACE_TYPE) {
        return false;
    }
    GENERIC_MAPPING files{FILE_GENERIC_READ, FILE_GENERIC_WRITE, FILE_GENERIC_EXECUTE,
                          FILE_ALL_ACCESS};
    ACCESS_MASK given = entry->Mask;
    MapGenericMask(&given, &files);
    return (given & rights) == 0 || trusted->MayOpen(&entry->SidStart);
}

}  // namespace

PrivateAccess::PrivateAccess() {
    Sid user;
    LPSTR text = nullptr;
    if (!FindUser(&user) || !ConvertSidToStringSidA(user.Get(), &text)) {
        return;
    }
    const LocalMemory<char> owned(text);
    const std::string access =
        std::string("D:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;FA;;;") + text + ")";
    ConvertStringSecurityDescriptorToSecurityDescriptorA(access.c_str(), SDDL_REVISION_1,
                                                         &descriptor_, nullptr);
}

PrivateAccess::~PrivateAccess() {
    LocalFree(descriptor_);
}

bool IsPrivate(const File& file, ACCESS_MASK rights) {
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(file.Get(), SE_FILE_OBJECT,
                        OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner, nullptr,
                        &list, nullptr, &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    const LocalMemory<void> owned(descriptor);
    Trusted trusted;
    // Without a list everybody may do everything.
    if (owner == nullptr || list == nullptr || !trusted.MayOwn(owner)) {
        return false;
    }
    for (DWORD i = 0; i < list->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(list, i, &entry) ||
            !IsHarmless(static_cast<ACCESS_ALLOWED_ACE*>(entry), &trusted, rights)) {
            return false;
        }
    }
    return true;
}

}  // namespace state
