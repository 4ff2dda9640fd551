// The Qt tests run inside one application object, on the offscreen platform unless a display is
// given on purpose, in the application's style.
#include <gtest/gtest.h>

#include <QApplication>
#include <QQuickStyle>
#include <QQuickWindow>

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // As the application draws: without a GPU.
    QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
