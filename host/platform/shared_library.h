#pragma once

#include <bit>
#include <string>

namespace salvor {

/// A library of the system that is loaded when it is wanted: most processes of the program are there for a moment, and
/// some libraries take longer than that to load. Stays loaded.
class SharedLibrary {
public:
    SharedLibrary() = default;
    /// `name` as the loader knows it: "libm.so.6".
    explicit SharedLibrary(const std::string& name);

    /// Points `function` at the one of this name in the library or in one that it uses; null if there is none.
    template <class Function>
    void Take(Function*& function, const char* name) {
        function = std::bit_cast<Function*>(Find(name));
        hasAll_ = hasAll_ && function != nullptr;
    }

    /// The library is loaded, and all functions taken so far are there.
    bool HasAll() const { return handle_ != nullptr && hasAll_; }

private:
    void* Find(const char* name) const;

    void* handle_ = nullptr;
    bool hasAll_ = true;
};

}  // namespace salvor
