// The ONNX description first: Xlib's macros, should they ever come in, break protobuf's headers.
#include <onnx/onnx_pb.h>

#include "vision/onnx/OnnxModelLoader.h"

#include <algorithm>
#include <array>
#include <fstream>

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>

namespace tavrin {

namespace {

constexpr const char* kImageInput = "image_input";
constexpr const char* kAppInput = "app_name_input";

struct ImageFormat {
    int width = 0;
    int height = 0;
    bool bgr = false;
    float scale = 1;
    std::array<float, 3> mean{}; // in the model's channel order
};

class OnnxModel final : public ClassifierModel {
public:
    OnnxModel(cv::dnn::Net net, std::map<std::string, std::string> metadata, std::vector<std::string> labels,
              ImageFormat format)
        : net_(std::move(net)), metadata_(std::move(metadata)), labels_(std::move(labels)), format_(format) {
        // The input is filled in place on every call: a fresh 600 KB blob per call made the heap
        // grow and shrink each time, a hundred times the cost of the copy.
        const int shape[] = {1, 3, format_.height, format_.width};
        blob_.create(4, shape, CV_32F);
        for (int k = 0; k < 3; ++k)
            planes_.emplace_back(format_.height, format_.width, CV_32F, blob_.ptr<float>(0, k));
    }

    const std::map<std::string, std::string>& metadata() const override { return metadata_; }

    std::optional<std::vector<ClassificationObservation>> classify(const Image& image, std::int32_t appIndex) override {
        if (image.width <= 0 || image.height <= 0 ||
            image.rgba.size() != static_cast<std::size_t>(image.width) * image.height * 4)
            throw ModelError("the picture's pixels do not match its size");
        try {
            const cv::Mat rgba(image.height, image.width, CV_8UC4, const_cast<std::uint8_t*>(image.rgba.data()));
            const cv::Mat* source = &rgba;
            if (image.width != format_.width || image.height != format_.height) {
                cv::resize(rgba, resized_, cv::Size(format_.width, format_.height), 0, 0, cv::INTER_LINEAR);
                source = &resized_;
            }
            cv::split(*source, channels_); // R, G, B, A
            for (int k = 0; k < 3; ++k)
                channels_[format_.bgr ? 2 - k : k].convertTo(planes_[k], CV_32F, format_.scale,
                                                             -format_.mean[k] * format_.scale);
            int one = 1;
            const cv::Mat app(1, &one, CV_32S, cv::Scalar(appIndex));
            net_.setInput(blob_, kImageInput);
            net_.setInput(app, kAppInput);
            const cv::Mat scores = net_.forward();
            if (scores.type() != CV_32F || !scores.isContinuous() || scores.total() != labels_.size())
                return std::nullopt;
            const auto* values = reinterpret_cast<const float*>(scores.data);
            std::vector<ClassificationObservation> results;
            for (std::size_t k = 0; k < labels_.size(); ++k)
                results.push_back({labels_[k], values[k]});
            // Equal scores keep the model's label order.
            std::stable_sort(results.begin(), results.end(),
                             [](const auto& a, const auto& b) { return a.confidence > b.confidence; });
            return results;
        } catch (const cv::Exception& error) {
            throw ModelError(error.err);
        }
    }

private:
    cv::dnn::Net net_;
    std::map<std::string, std::string> metadata_;
    std::vector<std::string> labels_;
    ImageFormat format_;
    cv::Mat blob_;                // [1, 3, height, width]
    std::vector<cv::Mat> planes_; // blob_'s three planes
    cv::Mat resized_;
    std::vector<cv::Mat> channels_;
};

const onnx::ValueInfoProto* findInput(const onnx::GraphProto& graph, const std::string& name) {
    for (const auto& input : graph.input())
        if (input.name() == name)
            return &input;
    throw ModelError("the model has no input named \"" + name + "\"");
}

// The declared dimension, or 0 when the model leaves it open.
std::int64_t dimension(const onnx::TensorShapeProto& shape, int index) {
    const auto& dim = shape.dim(index);
    return dim.has_dim_value() ? dim.dim_value() : 0;
}

// Checks the two inputs of the contract; gives the picture size the model declares (0 when open).
std::pair<std::int64_t, std::int64_t> checkInputs(const onnx::GraphProto& graph) {
    const auto& app = findInput(graph, kAppInput)->type().tensor_type();
    if (app.elem_type() != onnx::TensorProto_DataType_INT32 || app.shape().dim_size() != 1 ||
        dimension(app.shape(), 0) != 1)
        throw ModelError("the model's input \"app_name_input\" is not a 32-bit integer of shape [1]");
    const auto& image = findInput(graph, kImageInput)->type().tensor_type();
    if (image.elem_type() != onnx::TensorProto_DataType_FLOAT || image.shape().dim_size() != 4 ||
        dimension(image.shape(), 1) != 3)
        throw ModelError("the model's input \"image_input\" is not a float picture of shape [1, 3, height, width]");
    if (graph.output_size() != 1)
        throw ModelError("the model has " + std::to_string(graph.output_size()) +
                         " outputs; one, the score of each label, is expected");
    return {dimension(image.shape(), 3), dimension(image.shape(), 2)};
}

const std::string& entry(const std::map<std::string, std::string>& metadata, const std::string& key) {
    const auto it = metadata.find(key);
    if (it == metadata.end())
        throw ModelError("the model's metadata has no \"" + key + "\"");
    return it->second;
}

std::vector<std::string> readLabels(const std::map<std::string, std::string>& metadata) {
    try {
        return nlohmann::json::parse(entry(metadata, "labels")).get<std::vector<std::string>>();
    } catch (const nlohmann::json::exception& error) {
        throw ModelError(std::string("the model's \"labels\" are not a list of texts: ") + error.what());
    }
}

ImageFormat readImageFormat(const std::map<std::string, std::string>& metadata,
                            std::pair<std::int64_t, std::int64_t> declared) {
    ImageFormat format;
    try {
        const auto json = nlohmann::json::parse(entry(metadata, "image_input_format"));
        if (json.at("layout").get<std::string>() != "NCHW")
            throw ModelError("the model's picture layout " + json.at("layout").dump() + " is not supported; NCHW is");
        const auto channels = json.at("channels").get<std::string>();
        if (channels != "RGB" && channels != "BGR")
            throw ModelError("the model's picture channels \"" + channels + "\" are not supported; RGB or BGR are");
        format.bgr = channels == "BGR";
        format.width = json.at("width").get<int>();
        format.height = json.at("height").get<int>();
        format.scale = json.at("scale").get<float>();
        if (json.contains("mean"))
            format.mean = json.at("mean").get<std::array<float, 3>>();
    } catch (const nlohmann::json::exception& error) {
        throw ModelError(std::string("the model's \"image_input_format\" cannot be read: ") + error.what());
    }
    const auto [width, height] = declared;
    if (format.width <= 0 || format.height <= 0 || format.width > 4096 || format.height > 4096 ||
        (width && width != format.width) || (height && height != format.height))
        throw ModelError("the picture size in the model's \"image_input_format\" does not match its input");
    return format;
}

} // namespace

OnnxModelLoader::OnnxModelLoader() {
    cv::setNumThreads(1);
}

std::unique_ptr<ClassifierModel> OnnxModelLoader::load(const std::filesystem::path& file) {
    cv::dnn::Net net;
    try {
        net = cv::dnn::readNetFromONNX(file.string());
    } catch (const cv::Exception& error) {
        throw ModelError(error.err);
    }
    onnx::ModelProto description;
    std::ifstream in(file, std::ios::binary);
    if (!in || !description.ParseFromIstream(&in))
        throw ModelError("Failed to read the model's description: " + file.string());
    const auto declared = checkInputs(description.graph());
    std::map<std::string, std::string> metadata;
    for (const auto& property : description.metadata_props())
        metadata[property.key()] = property.value();
    auto labels = readLabels(metadata);
    const auto format = readImageFormat(metadata, declared);
    auto model = std::make_unique<OnnxModel>(std::move(net), std::move(metadata), std::move(labels), format);
    // The first inference sets the layers up: it is paid here rather than on the first click, and
    // a model that loads but cannot run fails here.
    Image black{format.width, format.height,
                std::vector<std::uint8_t>(static_cast<std::size_t>(format.width) * format.height * 4)};
    model->classify(black, 0);
    return model;
}

} // namespace tavrin
