#include "batch/ordered_pool.hpp"

namespace likeness {

template class OrderedWork<ResultRecord>;

}  // namespace likeness
