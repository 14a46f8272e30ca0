# Shortcuts for developers who type make out of habit; build.sh does the work, since a bare
# Debian 12 has no make.
.PHONY: run test build fuzz bench package install help-chm clean
run test build fuzz bench package install help-chm clean:
	bash build.sh $@
