#include "batch/ordered_pool.hpp"

namespace likeness {

template class OrderedPoolOf<ResultRecord>;
template class OrderedPoolOf<PhotographOutcome>;

}  // namespace likeness
