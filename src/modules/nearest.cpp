// The module `nearest`: graphs for approximate searches, with hnswlib.
#include "modules/nearest.hpp"

#include "modules/module_entry.hpp"

#include <hnswlib/hnswlib.h>

#include <exception>

namespace {

using likeness::NearestGraph;
using likeness::NearestVectors;

/// The negative inner product of bytes: exact, since it stays below 2^24.
float distanceOf(const void* first, const void* second, const void* dimensions) {
    const auto* const a = static_cast<const std::uint8_t*>(first);
    const auto* const b = static_cast<const std::uint8_t*>(second);
    const std::size_t count = *static_cast<const std::size_t*>(dimensions);
    int sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        sum += int{a[i]} * int{b[i]};
    }
    return static_cast<float>(-sum);
}

class ByteProducts : public hnswlib::SpaceInterface<float> {
public:
    explicit ByteProducts(std::size_t dimensions) : dimensions_(dimensions) {}
    std::size_t get_data_size() override { return dimensions_; }
    hnswlib::DISTFUNC<float> get_dist_func() override { return distanceOf; }
    void* get_dist_func_param() override { return &dimensions_; }

private:
    std::size_t dimensions_;
};

using Graph = hnswlib::HierarchicalNSW<float>;

void addLinks(std::vector<std::uint32_t>& to, const Graph& graph, hnswlib::linklistsizeint* list, std::size_t most) {
    const std::size_t count = graph.getListCount(list);
    const auto* const links = reinterpret_cast<const hnswlib::tableint*>(list + 1);
    to.push_back(static_cast<std::uint32_t>(count));
    for (std::size_t i = 0; i < most; ++i) {
        to.push_back(i < count ? links[i] : 0);
    }
}

}  // namespace

LIKENESS_MODULE_ENTRY void likeness_build_nearest(const NearestVectors& vectors, NearestGraph& result,
                                                  std::string& problem) {
    try {
        constexpr std::size_t seed = 100;  // of the levels
        ByteProducts space(vectors.dimensions);
        Graph graph(&space, vectors.count, vectors.links / 2, vectors.effort, seed);
        for (std::size_t i = 0; i < vectors.count; ++i) {
            graph.addPoint(vectors.bytes + i * vectors.dimensions, i);
            if (vectors.progress && !vectors.progress(i + 1)) {
                problem = "stopped";
                return;
            }
        }
        result.first = graph.enterpoint_node_;
        result.topLevel = static_cast<std::uint32_t>(graph.maxlevel_);
        result.ground.reserve(vectors.count * (vectors.links + 1));
        for (std::uint32_t node = 0; node < vectors.count; ++node) {
            addLinks(result.ground, graph, graph.get_linklist0(node), vectors.links);
            const int level = graph.element_levels_[node];
            if (level > 0) {
                result.above.push_back(node);
                result.above.push_back(static_cast<std::uint32_t>(level));
                for (int l = 1; l <= level; ++l) {
                    addLinks(result.above, graph, graph.get_linklist(node, l), vectors.links / 2);
                }
            }
        }
    } catch (const std::exception& exception) {
        problem = exception.what();
    }
}
