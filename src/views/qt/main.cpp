#include <QtQml/qqmlextensionplugin.h>
#include <iostream>

#include "app/CommandLine.h"
#include "views/qt/DesktopApplication.h"

// The QML module is linked in statically.
Q_IMPORT_QML_PLUGIN(Tavrin_ViewsPlugin)

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    try {
        return tavrin::runCommandLine(args, std::cout, std::cerr, [&](const tavrin::DesktopLaunch& launch) {
            return tavrin::runDesktopApplication(argc, argv, {launch.dataDir, launch.catalogueDir}, std::cout,
                                                 std::cerr);
        });
    } catch (const std::exception& error) {
        std::cerr << "tavrin: " << error.what() << '\n';
        return 1;
    }
}
