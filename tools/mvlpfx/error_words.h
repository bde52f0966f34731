// The platform's error words in the words of a person.
#pragma once

#include <cstdint>
#include <string>

#include "mvlpfx/exit_codes.h"

namespace mvlpfx {

struct ErrorWord {
    std::uint32_t value;
    ExitCode exitCode;
    const char* name;     // as the platform spells it
    const char* meaning;  // what happened
    const char* advice;   // what to do; empty where nothing can be advised
};

// The entry for `value` as calls on documents mean it, else as those on containers and stores do;
// one that only says that the provider failed where there is none.
ErrorWord DescribeErrorWord(std::uint32_t value);
// The same the other way round. A system's error word may stand in an HRESULT.
ErrorWord DescribePlaceWord(std::uint32_t value);

// The same for a document that is made.
ErrorWord DescribeMadeWord(std::uint32_t value);

// NTE_BAD_LEN as it is meant of a PIN.
ErrorWord DescribePinLength();

// "NTE_BAD_DATA"; empty for a word that is in neither table.
const char* NameOfErrorWord(std::uint32_t value);

// What to do about a file where the system gives this reason, a value of errno; empty where nothing
// can be advised.
const char* AdviceOfErrno(int error);

// "0x80090005"
std::string HexWord(std::uint32_t value);

}  // namespace mvlpfx
