#include "vision/onnx/OnnxRuntime.h"

#include <dlfcn.h>

#include <system_error>

#ifndef TAVRIN_MODULE_DIR
#define TAVRIN_MODULE_DIR "lib/tavrin"
#endif

namespace tavrin {

std::vector<std::filesystem::path> OnnxRuntime::moduleFolders() {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        return {};
    const std::filesystem::path installed = TAVRIN_MODULE_DIR;
    return {program.parent_path() / "lib" / "tavrin",
            installed.is_absolute() ? installed : program.parent_path().parent_path() / installed};
}

OnnxRuntime::OnnxRuntime(std::vector<std::filesystem::path> folders) : folders_(std::move(folders)) {}

ModelLoader& OnnxRuntime::runtime() {
    std::lock_guard lock(mutex_);
    if (runtime_)
        return *runtime_;
    std::string lookedIn;
    for (const auto& folder : folders_) {
        const auto file = folder / moduleFileName;
        std::error_code ignored;
        if (!std::filesystem::is_regular_file(file, ignored)) {
            lookedIn += (lookedIn.empty() ? "" : ", ") + folder.string();
            continue;
        }
        // Never closed: the models it makes live in it.
        void* module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!module)
            throw ModelError(std::string("cannot load the model runtime: ") + dlerror());
        using Entry = ModelLoader* (*)();
        const auto entry = reinterpret_cast<Entry>(dlsym(module, entryPoint));
        if (!entry)
            throw ModelError("cannot load the model runtime: " + file.string() + " has no " + entryPoint);
        runtime_ = entry();
        return *runtime_;
    }
    throw ModelError(std::string("the model runtime ") + moduleFileName + " is not installed (looked in " +
                     (lookedIn.empty() ? "no folder" : lookedIn) + ")");
}

std::unique_ptr<ClassifierModel> OnnxRuntime::load(const std::filesystem::path& file) {
    return runtime().load(file);
}

} // namespace tavrin
