// A header of the consumer's own, whose path is that of one of the library's below its root.
#pragma once

inline int consumersOwnLab() {
    return 1;
}
