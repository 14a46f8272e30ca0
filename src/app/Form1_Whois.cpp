// Whois page.
#include "Form1.h"

void Form1::wireWhois() {}
void Form1::Command1_Click() {}
