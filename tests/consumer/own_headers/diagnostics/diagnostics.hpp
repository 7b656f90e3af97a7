#pragma once

inline int consumersOwnDiagnostics() {
    return 3;
}
