// The photographs that an operation is asked to work on, and where each result goes.
#pragma once

#include "console/console.hpp"
#include "console/option_parser.hpp"
#include "photofile/image_output.hpp"

#include <functional>
#include <string>
#include <vector>

namespace likeness::darkroom {

/// Inputs of an operation that makes one photograph of one, with the options that say how many are worked on.
struct PhotographInputs {
    std::vector<std::string> paths;
    bool recursive = false;
    std::string name = "{stem}_{operation}{ext}";
    std::string format;  ///< extension without its dot; empty: that of the input
    bool inPlace = false;
    bool resume = false;
    int jobs = 0;  ///< photographs at the same time; 0: not said
    const OptionParser* app = nullptr;
    bool needsOutput = true;                 ///< whether there is no other result than a file
    std::vector<std::string> singleResults;  ///< options that name a file for one photograph
};

/// Adds the photographs, which go by their place.
/// @param name  what they are called in the help, "IN"
void addPhotographs(OptionParser& app, PhotographInputs& inputs, const std::string& name, const std::string& what);

/// Adds the options for many of them, behind those of `addImageOutput`.
/// @param singleResults  options that name a further result of one photograph, which many have no use for
void addManyPhotographs(OptionParser& app, PhotographInputs& inputs, std::vector<std::string> singleResults = {});

/// Adds the options for many of an operation whose output is a folder also of one photograph.
/// @param name  how results are called by default; `what` and `example` are the help of that option
void addManyToFolder(OptionParser& app, PhotographInputs& inputs, const std::string& name, const std::string& what,
                     const std::string& example);

/// The files that come of one photograph, where they are more or fewer than the one that the output names.
using ResultFiles = std::function<std::vector<ImageOutput>(const ImageOutput& output)>;

/// A photograph of many.
struct PlannedPhotograph {
    std::string input;
    ImageOutput output;              ///< its path is empty where no file is asked for
    std::vector<ImageOutput> files;  ///< that come of it
    std::string folder;              ///< that has the record of what is done
};

/// Whether the call asks for more than one photograph with one output file.
bool asksForMany(const PhotographInputs& inputs, const ImageOutput& output);

/// The same of an operation whose output is a folder also of one photograph.
bool asksForManyToFolder(const PhotographInputs& inputs);

/// How the result of an input is called: the pattern of --name, filled in.
std::string nameOfResult(const PhotographInputs& inputs, const std::string& operation, const std::string& input);

/// Finds the photographs of the inputs, names the results and checks them, before anything is written.
/// @throws Refusal  where two results would have one name, where one would replace an input or a file that an option
///                  names, where the output is no folder, and for options that do not fit together
std::vector<PlannedPhotograph> plannedPhotographs(const Console& console, const PhotographInputs& inputs,
                                                  const ImageOutput& output, const ResultFiles& files);

/// The values of the options that name files which are read, in the order of the help.
std::vector<std::string> filesOfOptions(const OptionParser& app);

/// What tells operations with other options, files or programs apart: 32 hexadecimal digits. Those that change no
/// result, and those that name inputs and outputs, do not count.
std::string fingerprintOfOptions(const OptionParser& app);

}  // namespace likeness::darkroom
