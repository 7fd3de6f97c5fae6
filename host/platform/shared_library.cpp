#include "host/platform/shared_library.h"

#include <dlfcn.h>

namespace salvor {

SharedLibrary::SharedLibrary(const std::string& name) : handle_(dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)) {}

void* SharedLibrary::Find(const char* name) const { return handle_ == nullptr ? nullptr : dlsym(handle_, name); }

}  // namespace salvor
