// SPDX-License-Identifier: Apache-2.0
#ifndef QUICKSTART_SHARED_LIBRARY_H
#define QUICKSTART_SHARED_LIBRARY_H

#include <stdexcept>
#include <string>

#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif

/// A library that is loaded at run time, for as long as the object lives.
class SharedLibrary {
public:
    /// Raises std::runtime_error when it cannot be loaded.
    explicit SharedLibrary(const std::string& path) : library(Load(path.c_str())) {
        if (library == nullptr) throw std::runtime_error("Cannot load " + path + Reason());
    }
    ~SharedLibrary() { Unload(library); }
    SharedLibrary(const SharedLibrary&) = delete;
    SharedLibrary& operator=(const SharedLibrary&) = delete;

    /// Raises std::runtime_error when the library has no function of that name.
    template <typename Function>
    Function* Find(const std::string& name) const {
        const auto function = Look(library, name.c_str());
        if (function == nullptr) throw std::runtime_error("No function " + name + Reason());
        return reinterpret_cast<Function*>(function);
    }

private:
#ifdef _WIN32
    static HMODULE Load(const char* path) {
        return LoadLibraryA(path);
    }
    static void Unload(HMODULE loaded) {
        FreeLibrary(loaded);
    }
    static void (*Look(HMODULE loaded, const char* name))() {
        // By way of the type of a function that g++ takes to fit any other.
        return reinterpret_cast<void (*)()>(GetProcAddress(loaded, name));
    }
    static std::string Reason() {
        return " (error " + std::to_string(GetLastError()) + ")";
    }
    HMODULE library;
#else
    static void* Load(const char* path) {
        return dlopen(path, RTLD_NOW | RTLD_LOCAL);
    }
    static void Unload(void* loaded) {
        dlclose(loaded);
    }
    static void* Look(void* loaded, const char* name) {
        return dlsym(loaded, name);
    }
    static std::string Reason() {
        return std::string(": ") + dlerror();
    }
    void* library;
#endif
};

#endif
