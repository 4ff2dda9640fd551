#pragma once

#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/MainQueue.h"
#include "platform/ScreenCapture.h"
#include "vision/ClassifierModel.h"

namespace tavrin::testing {

// A model that answers what the test says and remembers the indices it was given.
class FakeModel final : public ClassifierModel {
public:
    std::map<std::string, std::string> entries;
    std::optional<std::vector<ClassificationObservation>> results;
    std::optional<std::string> error; // thrown as the runtime's error
    std::vector<std::int32_t> indices;

    const std::map<std::string, std::string>& metadata() const override { return entries; }
    std::optional<std::vector<ClassificationObservation>> classify(const Image&, std::int32_t appIndex) override {
        indices.push_back(appIndex);
        if (error)
            throw ModelError(*error);
        return results;
    }
};

class FakeModelLoader final : public ModelLoader {
public:
    std::map<std::string, std::string> metadata = {
        {"app_name_to_idx", R"({"apple_mail":5,"chrome":2,"firefox":4,"gmail":1,"outlook":6,"safari":3,"slack":7})"}};
    std::optional<std::vector<ClassificationObservation>> results =
        std::vector<ClassificationObservation>{{"button", 0.75f}, {"tab", 0.25f}};
    std::optional<std::string> loadError;
    std::vector<std::filesystem::path> loaded;
    FakeModel* model = nullptr; // the last one handed out

    std::unique_ptr<ClassifierModel> load(const std::filesystem::path& file) override {
        loaded.push_back(file);
        if (loadError)
            throw ModelError(*loadError);
        auto made = std::make_unique<FakeModel>();
        made->entries = metadata;
        made->results = results;
        model = made.get();
        return made;
    }
};

// A model file for the classifier to find; the fake loader does not read it.
inline void writeModelFile(const std::filesystem::path& folder) {
    std::ofstream(folder / "tavrin_v0_3.onnx") << "model";
}

// A screen of one display that gives a uniform grey picture of the asked size.
class FakeScreenCapture final : public ScreenCapture {
public:
    bool permission = true;
    std::vector<PixelSize> displays = {{1280, 800}};
    std::size_t windows = 3;
    std::optional<ScreenAccessError> refusal;
    std::optional<std::string> captureError;
    int contentCalls = 0;
    std::vector<PixelRect> areas;

    bool hasPermission() const override { return permission; }
    ShareableContent shareableContent() override {
        ++contentCalls;
        if (refusal)
            throw *refusal;
        return {displays, windows};
    }
    Image capture(PixelRect area, PixelSize size) override {
        areas.push_back(area);
        if (captureError)
            throw std::runtime_error(*captureError);
        return {size.width, size.height,
                std::vector<std::uint8_t>(static_cast<std::size_t>(size.width) * size.height * 4, 128)};
    }
};

// Bodies wait until the test runs them, so that it decides what happens first: a capture's read
// or its time-out.
class ManualExecutor final : public Executor {
public:
    void execute(std::function<void()> task) override { work_.push_back(std::move(task)); }
    bool idle() const { return work_.empty(); }
    void runAll() {
        while (!work_.empty()) {
            auto task = std::move(work_.front());
            work_.pop_front();
            task();
        }
    }

private:
    std::deque<std::function<void()>> work_;
};

} // namespace tavrin::testing
