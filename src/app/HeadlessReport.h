#pragma once
struct CommandLine;

// `pathlark --report HOST`: watches HOST for the rounds asked with no window and no display
// (a QCoreApplication only, so it runs where no graphical session exists), prints the report in
// the format asked on stdout (with each hop's AS as far as known, unless --no-asn) and returns
// the exit status: 0 done, 1 an unknown host or a socket that cannot be opened (the reason on stderr).
int runHeadlessReport(int argc, char** argv, const CommandLine& line);
