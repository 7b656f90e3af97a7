#include "console/list_options.hpp"

#include "console/option_checks.hpp"

namespace likeness::darkroom {

Shard ListOptions::shardAsked() const {
    return shard.empty() ? Shard{} : parseShard(shard);
}

PairList ListOptions::read() const {
    std::optional<ListFormat> known;
    if (!format.empty()) {
        known = format == "csv" ? ListFormat::csv : format == "tsv" ? ListFormat::tsv : ListFormat::jsonLines;
    }
    return readPairs(path, known, shardAsked());
}

void addListOptions(CLI::App& app, ListOptions& options) {
    app.add_option(
           "--list-format", options.format,
           optionText("Form of the list: csv, tsv or jsonl; without it the extension tells, else the first line",
                      "--list-format tsv"))
        ->type_name("FORMAT")
        ->check(CLI::Validator(
            [](std::string& text) {
                return text == "csv" || text == "tsv" || text == "jsonl" ? std::string()
                                                                         : "'" + text + "' is not csv, tsv or jsonl";
            },
            ""));
    app.add_option("--shard", options.shard,
                   optionText("Only the I-th of N parts of the list, I from 1 to N; the part of a pair depends on its "
                              "id alone",
                              "--shard 3/16"))
        ->type_name("I/N");
}

}  // namespace likeness::darkroom
