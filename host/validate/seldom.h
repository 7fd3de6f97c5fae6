#pragma once

#include <memory>
#include <utility>

namespace salvor {

/// A value that is the default in nearly all of very many records: until it is changed, it takes only the room of a
/// pointer.
template <class T>
class Seldom {
public:
    Seldom() = default;
    Seldom(T value) : own_(std::make_unique<T>(std::move(value))) {}  // NOLINT(google-explicit-constructor)
    Seldom(const Seldom& other) : own_(other.own_ ? std::make_unique<T>(*other.own_) : nullptr) {}
    Seldom(Seldom&&) noexcept = default;
    Seldom& operator=(Seldom other) noexcept {
        own_ = std::move(other.own_);
        return *this;
    }
    ~Seldom() = default;

    const T& operator*() const {
        static const T none{};
        return own_ ? *own_ : none;
    }
    const T* operator->() const { return &**this; }
    T& Change() {
        if (!own_) {
            own_ = std::make_unique<T>();
        }
        return *own_;
    }
    bool operator==(const Seldom& other) const { return **this == *other; }

private:
    std::unique_ptr<T> own_;
};

}  // namespace salvor
