#include "reference/adaptation_reference.hpp"
