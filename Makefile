# make run    install what is missing, build, start Sorawen
# make test   install what is missing, build, run every test (CTest); a failed test runs once more
#             (the desktop tests drive real applications through libatspi, whose calls now and then
#             stall for their whole time-out; the program tolerates one stall, not several in a row)
# make build  build only
# make install   copy the built programs, menu entry, icon and udev rule under PREFIX (default
#                /usr/local; DESTDIR honoured); builds nothing: run `make build` first
# make package   build, then the Debian package build/sorawen_VERSION_ARCH.deb (CPack)
# make package-test  install that package with apt-get, dictate once through the installed program
#                on the test desktop, remove the package; changes the system, so root or sudo only
# make bench-latency  the latency harness: dictations through the running application on the test
#                desktop, p50 and p95 of each stage, idle and peak memory
# make bench-recognition  the wait from the end of speech to the final text at real-time pace, on
#                generated base and small models, beside whisper.cpp's own command-line program
#                (built once by bench/build-whisper-cli); RUNS=N runs per figure (default 5)
# make test-sanitized  the tests under the address and undefined-behaviour sanitizers

BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
PREFIX ?= /usr/local
DESTDIR ?=
CTEST_ARGS ?=

# Compiler results are cached outside the clone (ccache's own folder); relative paths let a fresh
# clone in another folder reuse them.
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_NOHASHDIR := true

.PHONY: all deps configure build run test test-sanitized install package package-test bench-latency bench-recognition clean

all: build

deps:
	@tools/install-deps

# whisper.cpp and ggml are built once per machine into ~/.cache/sorawen (third_party/build-engines);
# the build folder is configured again, afresh (so no path into the old prefix survives in the cache),
# only when that prefix changes.
configure: deps
	@prefix=$$(third_party/build-engines) && \
	if ! grep -qx "SORAWEN_ENGINES_PREFIX:PATH=$$prefix" $(BUILD_DIR)/CMakeCache.txt 2>/dev/null; then \
		cmake --fresh -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DSORAWEN_ENGINES_PREFIX=$$prefix; \
	fi

build: configure
	cmake --build $(BUILD_DIR)

run: build
	$(BUILD_DIR)/bin/sorawen

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure --timeout 300 -j2 --repeat until-pass:2 $(CTEST_ARGS)

# Installing builds nothing, so `sudo make install` after `make build` never builds as root.
install:
	@test -x $(BUILD_DIR)/bin/sorawen || { echo "$(BUILD_DIR)/bin/sorawen is missing: run make build first" >&2; exit 1; }
	DESTDIR="$(DESTDIR)" cmake --install $(BUILD_DIR) --prefix $(PREFIX) --strip

# cpack installs what the build made into its own staging folder; it compiles nothing.
package: build
	cd $(BUILD_DIR) && cpack -G DEB

package-test: package
	tests/e2e/with-desktop --audio /usr/bin/python3 tests/e2e/package_test.py \
		$$(ls -t $(BUILD_DIR)/sorawen_*.deb | head -n 1) ../shared/testdata

bench-latency: build
	tests/e2e/with-desktop --audio /usr/bin/python3 bench/latency.py $(BUILD_DIR)/bin/sorawen ../shared/testdata

RUNS ?= 5
bench-recognition: build
	@cli=$$(bench/build-whisper-cli) && $(BUILD_DIR)/bin/bench_recognition_latency --runs=$(RUNS) --cli=$$cli

# The same tests built with the address and undefined-behaviour sanitizers (build-sanitize/).
# Configured afresh, as the main build, when the engines' prefix changes.
test-sanitized: deps
	@prefix=$$(third_party/build-engines) && \
	fresh=$$(grep -qx "SORAWEN_ENGINES_PREFIX:PATH=$$prefix" build-sanitize/CMakeCache.txt 2>/dev/null || echo --fresh) && \
	cmake --preset sanitize $$fresh -DSORAWEN_ENGINES_PREFIX=$$prefix
	cmake --build --preset sanitize
	ctest --preset sanitize -j2 $(CTEST_ARGS)

clean:
	rm -rf $(BUILD_DIR) build-sanitize
