#pragma once
#include <QIcon>
#include <QImage>

// The program's icon, drawn at any size: a route of hops across a globe.
QImage drawAppIcon(int size);
QIcon appIcon();
