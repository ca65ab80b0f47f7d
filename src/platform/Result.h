#pragma once
// A value, or why there is none: a short phrase and, when the system said no, its errno.
#include <cassert>
#include <string>
#include <utility>
#include <variant>

namespace velko {

struct Failure {
    std::string message;
    // The errno value behind it; 0 when the system was not the cause (bad content, a refused name).
    int cause = 0;
};

template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
    Result(Failure failure) : state_(std::in_place_index<1>, std::move(failure)) {}

    explicit operator bool() const { return state_.index() == 0; }

    T& operator*() { return value(); }
    const T& operator*() const { return value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }
    T& value() {
        assert(*this);
        return std::get<0>(state_);
    }
    const T& value() const {
        assert(*this);
        return std::get<0>(state_);
    }

    // Only on failure.
    const Failure& failure() const { return std::get<1>(state_); }
    const std::string& error() const { return failure().message; }
    int cause() const { return failure().cause; }

private:
    std::variant<T, Failure> state_;
};

// Success with nothing to hand back.
template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Failure failure) : failure_(std::move(failure)), failed_(true) {}

    explicit operator bool() const { return !failed_; }

    const Failure& failure() const { return failure_; }
    const std::string& error() const { return failure_.message; }
    int cause() const { return failure_.cause; }

private:
    Failure failure_;
    bool failed_ = false;
};

}  // namespace velko
