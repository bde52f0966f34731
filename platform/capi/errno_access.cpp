#include "capi/errno_access.h"

#include <cerrno>

int _get_errno(int* value) {
    if (value == nullptr) {
        errno = EINVAL;
        return EINVAL;
    }
    *value = errno;
    return 0;
}

int _set_errno(int value) {
    errno = value;
    return 0;
}
