#include "batch/csv.hpp"

namespace likeness {
namespace {

constexpr int endOfText = std::char_traits<char>::eof();

}  // namespace

int CsvReader::take() {
    const int c = in_.sbumpc();
    offset_ += c != endOfText ? 1U : 0U;
    return c;
}

/// Reads one field and what ends it.
/// @return  whether another field follows in the record
bool CsvReader::readField(std::string& field) {
    field.clear();
    bool quoted = false;
    bool closed = false;
    for (;;) {
        const int c = take();
        const bool open = quoted && !closed;
        if (c == endOfText) {
            terminated_ = false;
            quoteOpen_ = open;
            return false;
        }
        if (c == '\n') {
            ++nextLine_;
        }
        if (open) {
            if (c == '"') {
                if (in_.sgetc() == '"') {
                    field += static_cast<char>(take());
                } else {
                    closed = true;
                }
            } else {
                field += static_cast<char>(c);
            }
        } else if (c == separator_) {
            return true;
        } else if (c == '\n') {
            return false;
        } else if (c == '\r' && (in_.sgetc() == '\n' || in_.sgetc() == endOfText)) {
            continue;  // of the line end
        } else if (closed) {
            throw CsvProblem(nextLine_, "there is text behind a closing quote");
        } else if (c == '"') {
            if (!field.empty()) {
                throw CsvProblem(nextLine_, "there is a quote in the middle of a field that does not begin with one");
            }
            quoted = true;
        } else {
            field += static_cast<char>(c);
        }
    }
}

bool CsvReader::next(std::vector<std::string>& fields) {
    for (;;) {
        begin_ = offset_;
        line_ = nextLine_;
        terminated_ = true;
        fields.clear();
        if (in_.sgetc() == endOfText) {
            return false;
        }
        bool more = true;
        while (more) {
            more = readField(fields.emplace_back());
        }
        // A line of nothing but its end; a field of empty quotes is a record.
        const bool blank = fields.size() == 1 && fields.front().empty() && offset_ - begin_ <= 2;
        if (!blank || quoteOpen_) {
            return true;
        }
    }
}

}  // namespace likeness
