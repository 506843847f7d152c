# make run    install what is missing, build, start Sorawen
# make test   install what is missing, build, run every test (CTest)
# make build  build only

BUILD_DIR ?= build
BUILD_TYPE ?= RelWithDebInfo
CTEST_ARGS ?=

.PHONY: all deps configure build run test clean

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

clean:
	rm -rf $(BUILD_DIR)
