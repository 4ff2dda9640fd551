#pragma once

#include "vision/ClassifierModel.h"

namespace tavrin {

// Loads ONNX click classifiers: OpenCV's DNN module runs them, the ONNX format library reads their
// declared inputs and metadata. Besides the contract's inputs and "app_name_to_idx", the metadata
// holds "labels" (a JSON list naming the output's scores, in output order) and
// "image_input_format" (a JSON object: "layout" "NCHW", "channels" "RGB" or "BGR", "width",
// "height", "scale" and "mean", three numbers): each input value is (pixel - mean) * scale, and a
// picture of another size is scaled to width by height first.
class OnnxModelLoader final : public ModelLoader {
public:
    // Runs OpenCV on the calling thread only: the models are small, and the application should
    // stay light on a shared machine.
    OnnxModelLoader();
    std::unique_ptr<ClassifierModel> load(const std::filesystem::path& file) override;
};

} // namespace tavrin
