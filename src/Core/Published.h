#pragma once
#include <functional>
#include <utility>
#include <vector>

namespace velko {

// A field that tells its observers at every assignment, changed or not.
template <class T>
class Published {
public:
    using Observer = std::function<void(const T&)>;

    Published() = default;
    explicit Published(T initial) : value_(std::move(initial)) {}

    const T& get() const { return value_; }
    operator const T&() const { return value_; }

    Published& operator=(T value) {
        value_ = std::move(value);
        for (const auto& observer : observers_) observer(value_);
        return *this;
    }

    void subscribe(Observer observer) { observers_.push_back(std::move(observer)); }

private:
    T value_{};
    std::vector<Observer> observers_;
};

}  // namespace velko
