// DNS Lookup page.
#include "Form1.h"

void Form1::wireDns() {}
void Form1::DoLookup_Click() {}
