#pragma once

inline int consumersOwnFilter() {
    return 2;
}
