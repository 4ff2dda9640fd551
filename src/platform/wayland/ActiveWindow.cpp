#include "platform/wayland/ActiveWindow.h"

namespace tavrin {

bool ActiveWindow::apply(const WindowEvent& event) {
    const bool same = current_ && current_->bus == event.bus && current_->path == event.path;
    switch (event.kind) {
    case WindowEvent::Kind::activate: {
        Window window{event.bus, event.path, event.name, event.application, event.pid};
        if (current_ == window)
            return false;
        current_ = std::move(window);
        return true;
    }
    case WindowEvent::Kind::deactivate:
    case WindowEvent::Kind::destroy:
        if (!same)
            return false;
        current_.reset();
        return true;
    case WindowEvent::Kind::nameChanged:
        if (!same || current_->title == event.name)
            return false;
        current_->title = event.name;
        return true;
    }
    return false;
}

} // namespace tavrin
