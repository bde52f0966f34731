// The new container into which a restored key goes.
#pragma once

#include <string>

#include "pfxcrypto/handle_guards.h"

namespace pkisdk {

// Makes of `*name` (ANSI code page), which may be empty, the name of a container that does not
// exist yet: where it does, or where there is no name, a random one takes its place. Two tries are
// made; a name that is taken in spite of them is for the creation to refuse.
void ChooseContainerName(bool isMachineKey, std::string* name);

struct ContainerOptions {
    bool isMachineKey = false;
    // Without windows, and with the password as its PIN.
    bool isSilent = false;
};

// Creates the container `*name`, gives it `password` for its PIN where it is silent, and makes of
// `*name` the name by which the provider will always know it. False with the provider's reason in
// the last error; the container that was made by then stays.
bool CreateContainer(const char* password, const ContainerOptions& options, std::string* name,
                     ProviderContext* provider);

}  // namespace pkisdk
