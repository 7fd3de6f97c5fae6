#pragma once

#include <bit>
#include <string>

namespace salvor {

/// A system library that is loaded on demand and stays loaded. Most of the program's processes live only for a moment,
/// and some libraries take longer than that to load.
class SharedLibrary {
public:
    SharedLibrary() = default;
    /// `name` is the loader's: "libm.so.6".
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
