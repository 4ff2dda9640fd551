#pragma once

#include <filesystem>
#include <mutex>
#include <vector>

#include "vision/ClassifierModel.h"

namespace tavrin {

// The click classifier's runtime (OpenCV's DNN module and protobuf) lives in a module of its own,
// tavrin-onnx.so, loaded on the first model load and kept until the program ends: once mapped it
// weighs several megabytes, and a session that never classifies a picture should not carry it.
class OnnxRuntime final : public ModelLoader {
public:
    // The module's file name, and the function it exports: `ModelLoader* tavrin_onnx_model_loader()`.
    static constexpr const char* moduleFileName = "tavrin-onnx.so";
    static constexpr const char* entryPoint = "tavrin_onnx_model_loader";

    // Where the module is looked for, in order: lib/tavrin beside the program (a build tree), then
    // the module folder of the prefix the program is installed in (lib/<multiarch>/tavrin).
    static std::vector<std::filesystem::path> moduleFolders();

    explicit OnnxRuntime(std::vector<std::filesystem::path> folders = moduleFolders());

    // Loads the module on first use, then the model through it. Throws ModelError, also when the
    // module is missing or does not load. Safe from any thread.
    std::unique_ptr<ClassifierModel> load(const std::filesystem::path& file) override;

private:
    ModelLoader& runtime();

    std::vector<std::filesystem::path> folders_;
    std::mutex mutex_;
    ModelLoader* runtime_ = nullptr;
};

} // namespace tavrin
