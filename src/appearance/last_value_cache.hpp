#pragma once

namespace likeness {

/// A function of one float whose argument rarely changes from pixel to pixel: the viewing conditions are maps, but
/// callers fill them with one value.
template <typename Function>
class LastValueCache {
public:
    explicit LastValueCache(Function function) : function_(function), argument_(0), value_(function(0.0F)) {}

    double operator()(float argument) {
        if (!(argument == argument_)) {
            argument_ = argument;
            value_ = function_(argument);
        }
        return value_;
    }

private:
    Function function_;
    float argument_;
    double value_;
};

}  // namespace likeness
