# make run    install what is missing, build, start Sorawen
# make test   install what is missing, build, run every test (CTest)
# make build  build only
# make test-sanitized  the tests under the address and undefined-behaviour sanitizers

BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
CTEST_ARGS ?=

# Compiler results are cached outside the clone (ccache's own folder); relative paths let a fresh
# clone in another folder reuse them.
export CCACHE_BASEDIR := $(CURDIR)
export CCACHE_NOHASHDIR := true

.PHONY: all deps configure build run test test-sanitized clean

all: build

deps:
	@tools/install-deps

$(BUILD_DIR)/build.ninja: | deps
	cmake -S . -B $(BUILD_DIR) -G Ninja -DCMAKE_BUILD_TYPE=$(BUILD_TYPE)

configure: $(BUILD_DIR)/build.ninja

build: deps configure
	cmake --build $(BUILD_DIR)

run: build
	$(BUILD_DIR)/bin/sorawen

test: build
	cd $(BUILD_DIR) && ctest --output-on-failure --timeout 300 -j2 $(CTEST_ARGS)

# The same tests built with the address and undefined-behaviour sanitizers (build-sanitize/).
test-sanitized: deps
	cmake --preset sanitize
	cmake --build --preset sanitize
	ctest --preset sanitize -j2 $(CTEST_ARGS)

clean:
	rm -rf $(BUILD_DIR) build-sanitize
