#include "reference/appearance_reference.hpp"
