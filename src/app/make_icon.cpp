// Build tool: writes the program's icon as PNG files for the desktop entry.
#include "AppIcon.h"

#include <QGuiApplication>

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: make_icon SIZE FILE.png\n");
        return 2;
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const int size = QByteArray(argv[1]).toInt();
    if (size <= 0 || !drawAppIcon(size).save(QString::fromLocal8Bit(argv[2]), "PNG"))
        return 1;
    return 0;
}
