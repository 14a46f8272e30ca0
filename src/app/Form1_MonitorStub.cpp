// Stands in for the monitor window until it lands; dropped when it does.
#include "Form1.h"

void Form1::openMonitor(const QString&) {}
