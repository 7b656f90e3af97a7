#include "reference/color_reference.hpp"
