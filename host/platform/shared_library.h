#pragma once

#include <bit>
#include <string>

namespace salvor {

/// A system library that is loaded on demand and stays loaded. Most processes of the program are short-lived, and some
/// libraries take longer to load than such a process lives.
class SharedLibrary {
public:
    SharedLibrary() = default;
    /// `name` is the loader's name for it: "libm.so.6".
    explicit SharedLibrary(const std::string& name);

    /// Points `function` at the function of this name in the library or in one of its dependencies; null if there is
    /// none.
    template <class Function>
    void Take(Function*& function, const char* name) {
        function = std::bit_cast<Function*>(Find(name));
        hasAll_ = hasAll_ && function != nullptr;
    }

    /// True if the library is loaded and has all functions that were asked for so far.
    bool HasAll() const { return handle_ != nullptr && hasAll_; }

private:
    void* Find(const char* name) const;

    void* handle_ = nullptr;
    bool hasAll_ = true;
};

}  // namespace salvor
