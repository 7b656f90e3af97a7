#include "batch/isolated_analysis.hpp"

#include "files/left_descriptors.hpp"
#include "files/refusal.hpp"
#include "photofile/decoder_remarks.hpp"

#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>

namespace likeness {
namespace {

template <typename Number>
void put(std::string& bytes, Number number) {
    static_assert(std::is_trivially_copyable_v<Number>);
    const std::size_t place = bytes.size();
    bytes.resize(place + sizeof number);
    std::memcpy(bytes.data() + place, &number, sizeof number);
}

void put(std::string& bytes, const std::string& text) {
    put(bytes, text.size());
    bytes += text;
}

void put(std::string& bytes, const BinProbabilities& bins) {
    put(bytes, bins.size());
    for (const auto& [bin, probability] : bins) {
        put(bytes, bin);
        put(bytes, probability);
    }
}

/// Takes what `put` made, in the same order.
class Parts {
public:
    explicit Parts(std::string_view bytes) : rest_(bytes) {}

    template <typename Number>
    Number number() {
        Number value{};
        const std::string_view bytes = next(sizeof value);
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }
    /// Any byte may come; what is not 0 is true.
    bool flag() { return number<unsigned char>() != 0; }
    std::string text() { return std::string(next(number<std::size_t>())); }
    BinProbabilities bins() {
        BinProbabilities bins;
        for (std::size_t left = number<std::size_t>(); left > 0; --left) {
            const int bin = number<int>();
            bins.emplace_hint(bins.end(), bin, number<float>());
        }
        return bins;
    }
    bool atEnd() const noexcept { return rest_.empty(); }

private:
    std::string_view next(std::size_t count) {
        if (count > rest_.size()) {
            throw Refusal("a process that reads photographs answered with something else");
        }
        const std::string_view bytes = rest_.substr(0, count);
        rest_.remove_prefix(count);
        return bytes;
    }

    std::string_view rest_;
};

/// A descriptor of this process, under the name by which the processes that read photographs find it: they have none of
/// its descriptors but the three standard ones.
std::string placeForOthers(const std::string& path) {
    for (const std::string_view folder : {"/dev/fd/", "/proc/self/fd/", "/proc/thread-self/fd/"}) {
        const std::string_view number = std::string_view(path).substr(std::min(folder.size(), path.size()));
        if (path.rfind(folder, 0) == 0 && !number.empty() &&
            number.find_first_not_of("0123456789") == std::string_view::npos) {
            return "/proc/" + std::to_string(::getpid()) + "/fd/" + std::string(number);
        }
    }
    return path;
}

}  // namespace

std::string analysisMessage(const PhotographAnalysis& analysis) {
    std::string bytes;
    const PhotographFacts& facts = analysis.facts;
    put(bytes, facts.width);
    put(bytes, facts.height);
    put(bytes, facts.nanShares);
    put(bytes, facts.stamp.has_value());
    put(bytes, facts.stamp.value_or(FileStamp()));
    put(bytes, facts.sha256);
    put(bytes, analysis.countedPixels);
    put(bytes, analysis.problem);
    put(bytes, analysis.profile);
    put(bytes, analysis.remarks.size());
    for (const std::string& remark : analysis.remarks) {
        put(bytes, remark);
    }
    const AppearanceDistributions& distributions = analysis.distributions;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        put(bytes, distributions[k]);
        put(bytes, distributions.nanShares[k]);
    }
    put(bytes, distributions.hue.has_value());
    put(bytes, distributions.hue.value_or(BinProbabilities()));
    put(bytes, distributions.blackShare);
    return bytes;
}

PhotographAnalysis analysisFromMessage(std::string_view message) {
    Parts parts(message);
    PhotographAnalysis analysis;
    PhotographFacts& facts = analysis.facts;
    facts.width = parts.number<int>();
    facts.height = parts.number<int>();
    facts.nanShares = parts.number<decltype(facts.nanShares)>();
    const bool hasStamp = parts.flag();
    const auto stamp = parts.number<FileStamp>();
    facts.stamp = hasStamp ? std::optional(stamp) : std::nullopt;
    facts.sha256 = parts.text();
    analysis.countedPixels = parts.number<std::int64_t>();
    analysis.problem = parts.text();
    analysis.profile = parts.text();
    for (std::size_t left = parts.number<std::size_t>(); left > 0; --left) {
        analysis.remarks.push_back(parts.text());
    }
    AppearanceDistributions& distributions = analysis.distributions;
    for (std::size_t k = 0; k < correlateNames.size(); ++k) {
        distributions[k] = parts.bins();
        distributions.nanShares[k] = parts.number<std::decay_t<decltype(distributions.nanShares[k])>>();
    }
    const bool hasHue = parts.flag();
    BinProbabilities hue = parts.bins();
    if (hasHue) {
        distributions.hue = std::move(hue);
    }
    distributions.blackShare = parts.number<double>();
    if (!parts.atEnd()) {
        throw Refusal("a process that reads photographs answered with something else");
    }
    return analysis;
}

IsolatedAnalyses::IsolatedAnalyses(std::uint64_t mostPixels, const AnalysisOptions& options,
                                   const ProfileChoice& profiles, const WorkLimits& limits)
    : workers_(
          [=]() -> IsolatedWorkers::Serve {
              ::omp_set_num_threads(1);
#pragma omp parallel
              ::omp_get_thread_num();
              auto sorter = std::make_shared<RemarkSorter>();
              auto tables = std::make_shared<AnalysisTables>();
              return [=](std::string_view request) {
                  static_cast<void>(sorter);
                  const std::size_t end = request.find('\0');  // what no path holds
                  const std::string path(request.substr(0, end));
                  const std::string mask(end == std::string_view::npos ? "" : request.substr(end + 1));
                  std::string message =
                      analysisMessage(analyzePhotograph(path, *tables, mostPixels, options, withMask(profiles, mask)));
                  closeDescriptorsOf(path);
                  return message;
              };
          },
          limits) {
}

PhotographAnalysis IsolatedAnalyses::analyze(const std::string& path, const std::string& mask) {
    const std::string place = placeForOthers(path);
    IsolatedWorkers::Answer answer = workers_.ask(mask.empty() ? place : place + '\0' + placeForOthers(mask));
    if (answer.problem.empty()) {
        return analysisFromMessage(answer.text);
    }
    PhotographAnalysis analysis;
    analysis.problem = std::move(answer.problem);
    analysis.facts.stamp = stampOf(path);
    return analysis;
}

}  // namespace likeness
