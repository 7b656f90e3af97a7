// Wrong uses of every subcommand: one line says what is wrong and what to do, and nothing is written.
#include "darkroom/darkroom_program.hpp"
#include "support/test_images.hpp"

#include "commands/subcommands.hpp"

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

namespace likeness::testing {
namespace {

namespace fs = std::filesystem;

struct WrongUse {
    const char* words;    ///< behind `darkroom`, with spaces between them
    const char* message;  ///< a part of what is said
};

constexpr WrongUse wrongUses[] = {
    {"compare", "FIRST is required"},
    {"compare a.png", "SECOND is required"},
    {"compare a.png b.png c.png", "The following argument was not expected: c.png"},
    {"compare a.png missing.png", "cannot read 'missing.png'"},
    {"compare missing.png b.png", "cannot read 'missing.png'"},
    {"compare a.png folder", "cannot read 'folder'"},
    {"compare a.png empty.png", "cannot read 'empty.png'"},
    {"compare a.png text.png", "cannot read 'text.png'"},
    {"compare a.png b.png --jsn", "The following argument was not expected: --jsn; did you mean '--json'?"},
    {"compare a.png b.png --json --csv", "--json excludes --csv"},
    {"compare a.png b.png -o", "--output: 1 required FILE missing"},
    {"compare a.png b.png -o folder", "--output: 'folder' is a folder"},
    {"compare a.png b.png -o none/r.txt", "--output: 'none/r.txt' cannot be written: the folder 'none' does not exist"},
    {"compare a.png b.png -o a.png", "--output: 'a.png' would replace the input 'a.png'; choose another name"},
    {"compare a.png b.png --csv -o r.json", "--output: 'r.json' is named .json, and --csv asks for another format"},
    {"compare a.png b.png --json -o r.csv", "--output: 'r.csv' is named .csv, and --json asks for another format"},
    {"compare a.png b.png --tiles 4y", "--tiles: '4y' is not N or NxM tiles"},
    {"compare a.png b.png --tiles 4 --stride 0", "--stride: '0' is neither pixels"},
    {"compare a.png b.png --stride 4", "--stride requires --tiles"},
    {"compare a.png b.png --tile-maps .", "--tile-maps requires --tiles"},
    {"compare a.png b.png --tile-table t.csv", "--tile-table requires --tiles"},
    {"compare a.png b.png --seed 4", "--seed: there is neither --interval nor --sliced"},
    {"compare a.png b.png --resamples 200", "--resamples requires --interval"},
    {"compare a.png b.png --interval --resamples 99", "--resamples: '99' is not a whole number from 100 to 1000000"},
    {"compare a.png b.png --align", "--align requires --difference-maps"},
    {"compare a.png b.png --difference-maps none", "--difference-maps: 'none' does not exist"},
    {"compare a.png b.png --min brightnes=0.5",
     "--min: there is no coefficient 'brightnes'; there are brightness, lightness, chroma, colorfulness, saturation"},
    {"compare a.png b.png --min brightness", "--min: 'brightness' is not of the form NAME=VALUE"},
    {"compare a.png b.png --min brightness=2", "--min: brightness: '2' is not a number from 0 to 1"},
    {"compare a.png b.png --min brightness=0.5 --min brightness=0.6", "--min: 'brightness' is given twice"},
    {"compare a.png b.png --min hue=0.5", "--min: the hue has a coefficient with --hue only"},
    {"compare a.png b.png --maps missing", "--maps: 'missing' does not exist"},
    {"compare a.png b.png --report r.txt", "--report: 'r.txt' has none of the extensions .html, .htm"},
    {"compare a.png b.png --report -", "--report: standard output has the result; --output can name a file for it"},
    {"compare a.png b.png --dumps missing", "--dumps: 'missing' does not exist"},
    {"compare a.png b.png --model ciecam03",
     "--model: 'ciecam03' is none of likeness, ciecam02, ciecam16; did you mean 'ciecam02'?"},
    {"compare a.png b.png --background -5",
     "--background: '-5' is neither drifting nor a number above 0 and up to 100"},
    {"compare a.png b.png --mask missing.png", "cannot read 'missing.png'"},
    {"compare a.png b.png --first-mask b.png", "'b.png' cannot be a mask: its three channels differ"},
    {"compare a.png b.png --mask c.png -o c.png", "cannot read 'c.png'"},
    {"compare a.png b.png --alpha over", "--alpha: 'over' is not one of use, ignore or over COLOUR"},
    {"compare a.png b.png --alpha over pink", "--alpha: 'over pink' is not one of use, ignore or over COLOUR"},
    {"compare a.png b.png --alpha drop", "--alpha: 'drop' is not one of use, ignore or over COLOUR"},
    {"compare a.png b.png --alpha over 1,2,256", "--alpha: 'over 1,2,256' is not one of"},
    {"compare a.png b.png --region 1,2,3", "--region: '1,2,3' is not x,y,width,height"},
    {"compare a.png b.png --region 0,0,0,5", "--region: '0,0,0,5': width and height must be above 0"},
    {"compare a.png b.png --region 100%,0,5,5", "--region 100%,0,5,5: it holds no pixel of 'a.png'"},
    {"compare a.png b.png --center-weighted --dumps .", "--dumps: the diagnostic files are those of whole photographs"},
    {"appearance a.png -o . --mask missing.png", "cannot read 'missing.png'"},
    {"white a.png --region 24,0,1,1", "--region 24,0,1,1: it holds no pixel of 'a.png', which is 24 x 16 pixels"},
    {"white a.png --mask b.png -o b.png", "--output: 'b.png' would replace the input 'b.png'; choose another name"},
    {"compare a.png b.png --predict missing.json", "--predict: cannot read 'missing.json'"},
    {"compare a.png b.png --predict text.png", "--predict: 'text.png' is no JSON"},
    {"compare - -", "'-' is standard input, which is one photograph, and it is given twice"},
    {"compare a.png b.png --max-pixels 0", "--max-pixels: '0' is not a whole number from 1 to 9007199254740992"},
    {"compare a.png b.png --max-pixels 10", "24 x 16 pixels, and the limit (--max-pixels) is 10"},
    {"compare a.png b.png --threads 0", "--threads: '0' is not a whole number from 1 to 1024"},
    {"compare a.png b.png --assume-profile adobergb", "--assume-profile: 'adobergb' cannot be read"},
    {"compare a.png b.png --quiet --verbose", "--quiet excludes --verbose"},
    {"appearance a.png", "--output is required"},
    {"appearance a.png -o missing", "--output: 'missing' does not exist"},
    {"appearance a.png -o a.png", "--output: 'a.png' is not a folder"},
    {"appearance a.png b.png -o a.png", "--output: 'a.png' is no folder, and 2 photographs go into one"},
    {"appearance a.png a.png -o .", "'a.png' is given twice"},
    {"appearance a.png -o . --jobs 2", "--jobs: one photograph is given, and no folder of them"},
    {"appearance a.png -o . --recursive", "--recursive: one photograph is given, and no folder of them"},
    {"appearance a.png b.png -o . --name '{stem}/x'", "--name: "},
    {"info - -", "'-' is standard input, which is one photograph, and it is given twice"},
    {"sweep a.png b.png --white D51",
     "--white: 'D51' is no white: one of A, D50, D55, D65, E, srgb, X,Y,Z, x,y, a temperature such as 6500K (daylight) "
     "or planckian:3000K"},
    {"sweep a.png b.png --json -o s.csv", "--output: 's.csv' is named .csv, and --json asks for another format"},
    {"sweep a.png b.png --plot s.png", "--plot: 's.png' has none of the extensions .html, .htm"},
    {"sweep a.png b.png --surround dimm", "--surround: 'dimm' is none of average, dim, dark, nor three numbers F,c,Nc"},
    {"colour --xyz 1,2", "--xyz: '1,2' is not three numbers with commas between them"},
    {"colour --from J,C,h --xyz 1,2,3",
     "--from: no colour is given by its correlates; give it --correlates, or - for a table of them"},
    {"conditions nowhere",
     "NAME: there are no conditions 'nowhere'; there are likeness-default, srgb-display, bright-office, print-d50, "
     "print-d50-p2, cinema; a file ends in .json"},
    {"convert a.png -o a.tif", "one of --to and --from is needed, and not both"},
    {"convert a.png --to labb -o a.tif",
     "--to: 'labb' is none of xyz, sharpened, log-lms, lalphabeta, opponent, yuv, lab; did you mean 'lab'?"},
    {"convert a.png --to lab -o a.jpg", "--output: 'a.jpg' cannot hold L*, a*, b*: take a .tif or a .png"},
    {"convert a.png --to xyz -o x.png", "take a .tif"},
    {"convert a.png --from lab -o x.png",
     "'a.png' is a picture as far as it says, and --from lab takes what --to lab writes; --unmarked takes it all the "
     "same"},
    {"convert a.png --from opponent -o x.png", "--from: opponent cannot be converted back: it holds no lightness"},
    {"convert a.png --to lab --from lab -o x.tif", "one of --to and --from is needed, and not both"},
    {"convert a.png --to xyz --white 1,1,1 -o x.tif", "--white: only lab has a white of its own, not xyz"},
    {"convert a.png --to lab --unmarked -o x.tif", "--unmarked requires --from"},
    {"white a.png --bilateral 0.1", "--bilateral requires --output"},
    {"white a.png --format png", "--format: there is no --output"},
    {"white a.png --mask -", "'-': standard input is for a photograph; name a file for what is read beside it"},
    {"compare a.png b.png --second-mask -",
     "'-': standard input is for a photograph; name a file for what is read beside it"},
    {"white a.png -o - --format png", "--output: standard output has the other result; name a file"},
    {"adapt a.png", "--output is required"},
    {"adapt a.png --to d65", "--output is required"},
    {"adapt a.png --to d56 -o x.png", "--to: 'd56' is not d65"},
    {"adapt a.png --to d65 --like b.png -o x.png", "one of --to d65 and --like REF is needed, and not both"},
    {"adapt a.png --like missing.png -o x.png", "cannot read 'missing.png'"},
    {"adapt a.png --to d65 -o x.gif", "--output: 'x.gif' has none of the extensions"},
    {"adapt a.png --to d65 -o x", "--output: 'x' has none of the extensions"},
    {"adapt a.png --to d65 -o a.png", "--output: 'a.png' would replace the input 'a.png'; choose another name"},
    {"adapt a.png --to d65 -o link.png", "--output: 'link.png' would replace the input 'a.png'; choose another name"},
    {"adapt a.png --to d65 --ouput x.png",
     "The following argument was not expected: --ouput; did you mean '--output'?"},
    {"adapt a.png --to d65 -o x.png --degree 0.5", "--degree requires --like"},
    {"adapt a.png --like b.png --degree 1.5 -o x.png", "--degree: '1.5' is not a number from 0 to 1"},
    {"adapt a.png --to d65 -o x.png --bits 12", "--bits: "},
    {"adapt a.png --to d65 -o x.jpg --bits 16", "--bits: "},
    {"adapt a.png --to d65 -o x.png --quality 90", "--quality: only JPEG, WebP, AVIF and JPEG XL have a quality"},
    {"adapt a.png --to d65 -o x.jpg --quality 101", "--quality: '101' is not a whole number from 0 to 100"},
    {"adapt a.png --to d65 -o x.jpg --quality 9O", "--quality: '9O' is not a whole number from 0 to 100"},
    {"adapt a.png --to d65 -o x.hdr --output-profile display-p3",
     "--output-profile: a .hdr gets no profile, and 'x.hdr' is one"},
    {"adapt a.png --to d65 -o x.png --output-profile text.png", "--output-profile: 'text.png' cannot be used"},
    {"adapt a.png b.png --to d65", "--output is required"},
    {"adapt a.png b.png --to d65 -o x.png",
     "--output: 'x.png' is the name of one picture, and 2 photographs go into a folder"},
    {"adapt a.png b.png --to d65 -o text.png", "--output: 'text.png' is no folder, and 2 photographs go into one"},
    {"adapt a.png b.png --to d65 -o none/out", "--output: 'none' does not exist"},
    {"adapt a.png b.png --to d65 -o -", "--output: standard output takes one photograph, and more may be given here"},
    {"adapt a.png - --to d65 -o out",
     "'-' is standard input, which is one photograph: it does not go with others, nor with --in-place and --resume"},
    {"adapt a.png a.png --to d65 -o out", "'a.png' is given twice"},
    {"adapt a.png b.png --to d65 -o . --name {stem}{ext}",
     "--output: './a.png' would replace the input 'a.png'; choose another folder or --name"},
    {"adapt a.png b.png --to d65 -o out --name same.png",
     "'a.png' and 'b.png' would both be written as 'out/same.png'; --name can tell them apart"},
    {"adapt a.png b.png --to d65 -o out --name {stm}.png",
     "--name: '{stm}.png' has '{stm}': there are {stem}, {operation} and {ext}"},
    {"adapt a.png b.png --to d65 -o out --name x/{stem}.png",
     "--name: 'x/{stem}.png' has a /: it is the name of a file, and --output names the folder"},
    {"adapt a.png b.png --to d65 -o out --name {stem}.gif",
     "--name: 'out/a.gif' has none of the extensions of a format that is written"},
    {"adapt a.png b.png --to d65 -o out --format gif",
     "--format: 'gif' is no format that is written; the help of --output lists them"},
    {"adapt a.png b.png --to d65 -o out --jobs 0", "--jobs: '0' is not a whole number from 1 to 1024"},
    {"adapt a.png b.png --to d65 -o out --quality 90", "--quality: only JPEG, WebP, AVIF and JPEG XL have a quality"},
    {"adapt a.png b.png -o out", "one of --to d65 and --like REF is needed, and not both"},
    {"adapt folder --to d65 -o out", "'folder' has no image file"},
    {"adapt a.png b.png --to d65 -o out --recursive", "--recursive: no folder is given"},
    {"adapt a.png --to d65 -o x.png --recursive", "--recursive: one photograph is given, and --output names its file"},
    {"adapt a.png --to d65 -o x.png --name y.png", "--name: one photograph is given, and --output names its file"},
    {"adapt a.png --to d65 -o x.png --format png",
     "--format: the extension of 'x.png' gives the format; leave the option out"},
    {"adapt a.png --to d65 -o /dev/full --format png",
     "--format: it is for folders and for standard output (-), and '/dev/full' has no extension of a format"},
    {"adapt a.png --to d65 -o -",
     "--output: standard output has no name that tells the format; --format does, as in --format png"},
    {"adapt a.png --to d65 --in-place -o x.png", "--output excludes --in-place"},
    {"adapt a.png --to d65 --resume", "--output is required"},
    {"adapt - --to d65 --in-place",
     "'-' is standard input, which is one photograph: it does not go with others, nor with --in-place and --resume"},
    {"adapt a.png --like a.png --in-place", "--in-place: 'a.png' would replace the input 'a.png'; choose another file"},
    {"adapt a.png b.png --to d65 -o out --dumps folder",
     "--dumps: keeps the diagnostic files of one photograph, and more may be given here"},
    {"brighten a.png -o x.png", "--factor is required"},
    {"brighten a.png --factor 0 -o x.png", "--factor: '0' is not a number above 0 and up to 100"},
    {"brighten a.png --factor 11 --pass 7 -o x.png", "--pass: '7' is not a whole number from 1 to 6"},
    {"brighten a.png --factor 11 -o - --format png",
     "--output: more than one picture comes of it, and standard output takes one; name a file"},
    {"brighten a.png --factor 11 --in-place",
     "--in-place: more than one picture comes of each photograph; --output names a folder"},
    {"brighten a.png --factor 1 -o x.png", "--factor: 1 leaves pass 6 with the factor -2.5, which must be above 0"},
    {"tint a.png -o x.png", "--like is required"},
    {"tint a.png --like small.png -o x.png",
     "'a.png' is 24 x 16 pixels and 'small.png' is 5 x 5: they must be of one size"},
    {"tint a.png --like b.png --sigma 0.2 -o x.png", "--sigma and --diameter belong to --form regression"},
    {"tint a.png --like b.png --form regresion -o x.png",
     "--form: 'regresion' is none of gain, regression; did you mean 'regression'?"},
    {"stack a.png", "--flash is required"},
    {"stack --flash a.png --no-flash b.png -o -", "--output: several files come of it, and standard output takes one"},
    {"fuse a.png -o x", "a bracket has at least two exposures, and one image is given"},
    {"fuse a.png b.png -o x", "'a.png' has no exposure time in its EXIF data: --times must give the times"},
    {"fuse a.png b.png --times 1 -o x", "--times: 1 time for 2 images"},
    {"fuse a.png b.png --times 1,1 -o x",
     "'a.png' and 'b.png' have the same exposure time, 1 s: each must have its own"},
    {"fuse a.png b.png --times 1,0 -o x", "--times: '0' is not a time in seconds, a fraction or a number above 0"},
    {"fuse a.png b.png --times 1,2", "nothing is asked for: --output, --response or --plot must name a result"},
    {"fuse a.png b.png --times 1,2 -o -",
     "--output: several files come of it, and standard output takes one; give a stem of their names"},
    {"fuse a.png b.png --times 1,2 --response a.png",
     "--response: 'a.png' would replace the input 'a.png'; choose another name"},
    {"match-brightness a.png -o x.png", "--like is required"},
    {"match-brightness a.png --like small.png -o x.png",
     "'small.png' is 5 x 5 pixels: it must be at least as large as 'a.png', which is 24 x 16"},
    {"match-brightness flat.png --like b.png -o x.png",
     "'flat.png' has one lightness throughout: there is no spread to match"},
    {"align a.png -o x.png", "--to is required"},
    {"align a.png --to small.png -o x.png",
     "'a.png' is 24 x 16 pixels and 'small.png' is 5 x 5: they must be of one size"},
    {"align a.png --to b.png -o x.png --flow f.gif", "--flow: 'f.gif' has none of the extensions"},
    {"align a.png b.png --to b.png -o out --flow f.png",
     "--flow: names one file, and more than one photograph may be given here; leave it out, or give one photograph and "
     "the name of its result"},
    {"structure a.png -o x.png --size 4", "--size: '4' is not odd"},
    {"structure a.png -o x.png --coherence x.png", "--coherence: 'x.png' is the file of --output too"},
    {"structure a.png -o x.png --coherence a.png",
     "--coherence: 'a.png' would replace the input 'a.png'; choose another name"},
    {"structure a.png b.png -o out --coherence c.png",
     "--coherence: names one file, and more than one photograph may be given here; leave it out, or give one "
     "photograph and the name of its result"},
    {"smooth a.png -o x.png --radius -1", "--radius: '-1' is not a whole number from 0 to 1000"},
    {"smooth a.png -o x.png --radius 1e3", "--radius: '1e3' is not a whole number from 0 to 1000"},
    {"smooth a.png -o x.png --eps nan", "--eps: 'nan' is not a number from 0 to 1000000"},
    {"smooth a.png -o x.png --guide small.png",
     "'a.png' is 24 x 16 pixels and 'small.png' is 5 x 5: they must be of one size"},
    {"smooth a.png -o x.png --color --transport", "--color excludes --transport"},
    {"transfer a.png -o x.png", "--palette is required"},
    {"transfer a.png --palette b.png -o x.png --dims 4", "--dims: '4' is not a whole number from 2 to 3"},
    {"transfer a.png --palette b.png -o x.png --form bonneel", "--form bonneel: only with --dims 2"},
    {"transfer a.png --palette b.png -o x.png --t 2", "--t: '2' is not a number from 0 to 1"},
    {"transfer a.png --palette b.png -o x.png --frames 1", "--frames: '1' is not a whole number from 2 to 9999"},
    {"transfer a.png --palette b.png -o - --format png --frames 3",
     "--output: more than one picture comes of it, and standard output takes one; name a file"},
    {"batch", "LIST or --folders is required"},
    {"batch missing.csv -o r.db", "cannot read 'missing.csv'"},
    {"batch pairs.csv -o r.txt", "--output: 'r.txt' does not end in .db, .sqlite, .sqlite3, .jsonl, .ndjson or .csv"},
    {"batch pairs.csv -o -", "--output: '-' does not end in .db, .sqlite, .sqlite3, .jsonl, .ndjson or .csv"},
    {"batch pairs.csv --resum -o r.db", "The following argument was not expected: --resum; did you mean '--resume'?"},
    {"batch pairs.csv --isolate maybe -o r.csv", "--isolate: 'maybe' is none of yes, no"},
    {"batch pairs.csv --file-seconds 0 -o r.csv", "--file-seconds: '0' is not a number from 0.1 to 1000000"},
    {"batch pairs.csv --file-memory 2T -o r.csv", "--file-memory: '2T' is no memory from 64 MiB on, such as 512 or 2G"},
    {"batch pairs.csv --isolate no --file-memory 2G -o r.csv",
     "--isolate no: --file-seconds and --file-memory are limits of processes of their own"},
    {"index a.png --file-memory 1K -o a", "--file-memory: '1K' is no memory from 64 MiB on, such as 512 or 2G"},
    {"batch pairs.csv --retry-failed -o r.db", "--retry-failed: there is no --resume"},
    {"batch pairs.csv --shard 3/2 -o r.csv",
     "--shard: '3/2' is not I/N with whole numbers, I from 1 to N, N up to 1000000"},
    {"batch pairs.csv --jobs 0 -o r.csv", "--jobs: '0' is not a whole number from 1 to 1024"},
    {"batch --folders folder missing -o r.csv", "--folders: 'missing' does not exist"},
    {"merge missing.csv m.csv --resume", "expected: --resume"},
    {"info", "FILE is required"},
    {"info a.png --json --csv", "--json excludes --csv"},
    {"info a.png --page 0", "--page: '0' is not a whole number from 1 to 65535"},
    {"index", "--output is required"},
    {"index a.png -o text.png", "--output: 'text.png' exists; --update brings it up to date"},
    {"index a.png -o b.png --overwrite", "--output: 'b.png' is no archive, and is not replaced"},
    {"index a.png -o x.likeness --shard 3/2", "--shard: '3/2' is not I/N with whole numbers"},
    {"index --list missing.txt -o x.likeness", "--list: cannot read 'missing.txt'"},
    {"search", "ARCHIVE is required"},
    {"search a.png", "QUERY or --list is required"},
    {"search a.png b.png", "'a.png' is no archive"},
    {"search a.png --list missing.txt", "--list: cannot read 'missing.txt'"},
    {"search a.png b.png --top 0", "--top: '0' is not a whole number from 1 to 1000000"},
    {"search a.png b.png --by colour", "--by: 'colour' is none of mean, least, brightness"},
    {"search a.png b.png --weights chroma", "--weights: 'chroma' is not NAME=WEIGHT"},
    {"search a.png b.png -o b.png", "--output: 'b.png' would replace the input 'b.png'; choose another name"},
    {"compare a.png b.png --sliced", "--sliced: there is a uniform space under a published model only"},
    {"pairs", "ARCHIVE is required"},
    {"pairs a.png", "--min or --nearest is required"},
    {"pairs a.png --min 2", "--min: '2' is not a number from 0 to 1"},
    {"pairs a.png --min 0.5 -o x.txt", "--output: 'x.txt' does not end in .db"},
    {"pairs a.png --min 0.5 -o x.csv", "'a.png' is no archive"},
    {"fit", "--scores or --dataset is required"},
    {"fit r.csv --scores s.csv --dataset csiq folder", "--scores and --dataset exclude each other"},
    {"fit --scores s.csv", "RESULTS is required"},
    {"fit r.csv --scores s.csv --form cubic",
     "--form: 'cubic' is none of linear, monotone, logistic4, logistic5, product, ridge"},
    {"fit r.csv --scores s.csv --direction up", "--direction: 'up' is none of higher-better, lower-better"},
    {"fit r.csv --scores s.csv --print-list", "--print-list: there is no --dataset"},
    {"fit r.csv --dataset csiq folder --score mos", "--score: --dataset knows it; the option is for --scores"},
    {"fit r.csv --dataset csic folder", "--dataset: 'csic' is none of tid2013, kadid10k, csiq, live, spcd"},
    {"fit r.csv --dataset csiq missing", "--dataset: 'missing' is not a folder"},
    {"fit r.csv --scores s.csv --penalty 3", "--penalty: the form linear has none; it is for ridge"},
    {"fit r.csv --scores s.csv --features a,,b", "--features: 'a,,b' has a name that is empty"},
    {"fit r.csv --scores s.csv --observers 1", "--observers: '1' is not a whole number from 2 to 1000000"},
    {"fit r.csv --scores s.csv --root folder", "--root: there are no --baselines, which alone read photographs"},
    {"fit r.csv --scores s.csv", "--direction is required"},
    {"fit r.csv --scores missing.csv --direction lower-better", "cannot read"},
    {"pairs a.png --min 0.5 -o x.csv --shard 3/2", "--shard: '3/2' is not I/N"},
    {"pairs a.png --min 0.5 -o x.csv --resume --overwrite", "--overwrite begins anew and excludes --resume"},
    {"repair", "ARCHIVE is required"},
    {"repair a.png", "--output is required"},
    {"repair a.png -o x.likeness", "'a.png' is no archive"},
    {"repair missing -o x.likeness", "cannot read 'missing'"},
    {"verify pairs.csv", "RESULTS is required"},
    {"verify pairs.csv missing.csv", "cannot read 'missing.csv'"},
    {"report missing.db -o r.html", "cannot read 'missing.db'"},
    {"report text.png -o r.html",
     "RESULTS: 'text.png' does not end in .db, .sqlite, .sqlite3, .jsonl, .ndjson or .csv"},
    {"report text.png -o r.pdf", "--output: 'r.pdf' has none of the extensions .html, .htm"},
    {"selftest more", "The following argument was not expected: more"},
    {"completion fish", "SHELL: 'fish' is none of bash, zsh"},
    {"completion", "SHELL is required"},
    {"manual page", "The following argument was not expected: page"},
    {"manual -o none/x.1", "--output: 'none/x.1' cannot be written: the folder 'none' does not exist"},
};

std::vector<std::string> wordsIn(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

class WrongUses : public DarkroomProgram {
protected:
    void SetUp() override {
        cv::imwrite(output("a.png"), randomPhotograph({24, 16}, 1));
        cv::imwrite(output("b.png"), randomPhotograph({24, 16}, 2));
        cv::imwrite(output("small.png"), randomPhotograph({5, 5}, 3));
        cv::imwrite(output("flat.png"), cv::Mat(16, 24, CV_8UC3, cv::Scalar::all(90)));
        std::ofstream(output("empty.png"));
        std::ofstream(output("text.png")) << "text\n";
        std::ofstream(output("pairs.csv")) << "first,second\na.png,b.png\n";
        fs::create_symlink("a.png", folder() / "link.png");
        fs::create_directory(folder() / "folder");
    }

    std::map<std::string, std::string> everything() const {
        std::map<std::string, std::string> all;
        for (const auto& entry : fs::recursive_directory_iterator(folder())) {
            all[entry.path().string()] = entry.is_regular_file() ? contentOf(entry.path()) : "";
        }
        return all;
    }
};

TEST_F(WrongUses, AreToldInOneLineAndWriteNothing) {
    EXPECT_GE(std::size(wrongUses), 100U);
    const auto before = everything();
    for (const WrongUse& use : wrongUses) {
        SCOPED_TRACE(use.words);
        const Outcome outcome = darkroom(wordsIn(use.words));
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_EQ(outcome.err.rfind("darkroom " + wordsIn(use.words).front() + ": ", 0), 0U) << outcome.err;
        EXPECT_NE(outcome.err.find(use.message), std::string::npos) << outcome.err;
    }
    EXPECT_TRUE(everything() == before);
}

TEST_F(WrongUses, AreKnownOfEverySubcommand) {
    std::set<std::string> used;
    for (const WrongUse& use : wrongUses) {
        used.insert(wordsIn(use.words).front());
    }
    for (const darkroom::Subcommand& subcommand : darkroom::subcommands()) {
        EXPECT_EQ(used.count(subcommand.name), 1U) << subcommand.name;
    }
}

}  // namespace
}  // namespace likeness::testing
