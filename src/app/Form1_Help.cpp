// F1 help.
#include "Form1.h"

void Form1::wireHelp() {}
void Form1::Form_KeyUp(qint16&, qint16&) {}
