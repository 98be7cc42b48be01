# The two set-up commands of the README are `make run` and `make test`; both install what they
# need through scripts/bootstrap first.

JOBS ?= $(shell nproc)
SECONDS ?= 60

.PHONY: all bootstrap configure build test run bench fuzz asan deb clean

all: build

bootstrap:
	@scripts/bootstrap

configure: bootstrap
	@cmake --preset default >/dev/null

build: configure
	@cmake --build build -j $(JOBS)

# Unit and integration tests together; scripts/test-env gives the run its own network namespace,
# buses, Avahi, keyring, X server and sound server, and stops them afterwards.
test: build
	@scripts/guest-kernel build/guest
	@scripts/test-env ctest --test-dir build --output-on-failure -j $(JOBS)

run: build
	@scripts/run

bench: build
	@scripts/bench

fuzz: bootstrap
	@cmake --preset fuzz >/dev/null
	@cmake --build build-fuzz -j $(JOBS)
	@scripts/fuzz $(SECONDS)

asan: bootstrap
	@cmake --preset asan >/dev/null
	@cmake --build build-asan -j $(JOBS)
	@ctest --test-dir build-asan --output-on-failure -j $(JOBS) -L unit

# The Debian package, built from the committed tree into the parent folder and checked.
deb: bootstrap
	@scripts/deb

clean:
	rm -rf build build-fuzz build-asan build-wasm
