#pragma once

// Large buffers (a whois answer of up to 32 MB, the document that shows it) each get pages of
// their own: they grow without copies and go back to the system when freed, rather than leave
// holes in the heap that the next large answer cannot always reuse. Call once, at start.
void mapLargeBuffersApart();

// Gives the heap's free memory back to the system, after a large answer has gone.
void releaseFreedMemory();
