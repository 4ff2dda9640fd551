// The entry point of tavrin-onnx.so, the module that carries the model runtime.
#include "vision/onnx/OnnxModelLoader.h"

extern "C" __attribute__((visibility("default"))) tavrin::ModelLoader* tavrin_onnx_model_loader() {
    static tavrin::OnnxModelLoader loader;
    return &loader;
}
