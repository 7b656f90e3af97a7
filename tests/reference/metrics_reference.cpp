#include "reference/metrics_reference.hpp"
