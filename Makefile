# The front door. `make run` shows the collector at work, `make test` proves it; the rest is for those who change it.
.PHONY: run test check bench load soak endure fuzz format install package package-test

# Arguments for the demonstration, e.g. make run ARGS=--keep
ARGS ?=

run:
	@scripts/install-deps
	@scripts/build release
	@scripts/demo --build build/release $(ARGS)

test:
	@scripts/install-deps
	@scripts/build dev
	@ctest --preset dev

# Everything that a change must pass besides the tests.
check:
	@scripts/install-deps
	@scripts/build dev
	@scripts/check

# Beside other programs and a yardstick, e.g. make bench ARGS=--write for doc/performance.md
bench:
	@scripts/install-deps bench
	@scripts/build bench qdx_speed qdx_control_bench
	@scripts/bench $(ARGS)

# A load on a collector, with a check of all that comes out, e.g. make load ARGS='--frontends 2 --rate 100000 --seconds 5'
load:
	@scripts/install-deps
	@scripts/build bench qdxd qdxbe dch dch-filter qdxload
	@scripts/load $(ARGS)

# A collector in a steady load with all that clients do, for a long time, e.g. make soak ARGS='--minutes 60'
soak:
	@scripts/install-deps
	@scripts/build bench qdxd qdxbe dch dch-filter qfci qdxview hostfe qdxload
	@scripts/soak $(ARGS)

# Kills collectors, frontends and clients at random moments, e.g. make endure ARGS='--rounds 10 collector'
endure:
	@scripts/install-deps
	@scripts/build bench qdxd qdxbe dch dch-filter qfci qdxview hostfe qdxload
	@scripts/endure $(ARGS)

# Seconds for each fuzz target, and which if not all, e.g. make fuzz TIME=600 ARGS='batch pull'
TIME ?= 60
fuzz:
	@scripts/install-deps
	@scripts/build fuzz fuzzers
	@scripts/fuzz $(TIME) $(ARGS)

format:
	@scripts/install-deps
	@scripts/format

install:
	@scripts/install-deps
	@scripts/build release
	@cmake --install build/release

# Debian packages, in build/package
package:
	@scripts/install-deps package
	@scripts/build package
	@scripts/package

# Installs them into an empty Debian, starts the collector, sends, pulls and removes them; as root, with Debian's mirror at hand.
package-test: package
	@scripts/package-test
