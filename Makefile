# The set-up commands of the README:
#   make run    build the program only (not the tests) and start it on the example site (port 8080)
#   make test   build everything and run every test, with a sanitizer build of the unit tests
#   make fuzz   build the fuzz targets with clang and run each for FUZZ_SECONDS (default 60)
# They install missing Debian packages first when run as root.

BUILD      ?= build
ASAN_BUILD ?= build-asan
FUZZ_BUILD ?= build-fuzz
FUZZ_SECONDS ?= 60
JOBS       ?= $(shell nproc 2>/dev/null || echo 2)
CMAKE_ARGS ?=

PACKAGES = g++ cmake make libgtest-dev libncurses-dev python3 curl wget tmux iproute2 procps
# libFuzzer comes with clang's runtime libraries, which clang only recommends.
FUZZ_PACKAGES = clang libclang-rt-14-dev

.PHONY: all deps deps-fuzz build program build-asan build-fuzz run test test-unit test-asan fuzz install clean

all: build

# Installs the Debian packages of the list that are missing (when run as root), or names them.
define install-missing
	@missing=""; for p in $(1); do \
	  dpkg -s $$p >/dev/null 2>&1 || missing="$$missing $$p"; done; \
	if [ -n "$$missing" ]; then \
	  if [ "$$(id -u)" = 0 ]; then \
	    echo "Installing:$$missing"; \
	    DEBIAN_FRONTEND=noninteractive apt-get update -qq && \
	    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $$missing; \
	  else \
	    echo "Missing Debian packages:$$missing (run as root to install them)"; \
	  fi; \
	fi
endef

deps:
	$(call install-missing,$(PACKAGES))

deps-fuzz: deps
	$(call install-missing,$(FUZZ_PACKAGES))

$(BUILD)/CMakeCache.txt:
	cmake -S . -B $(BUILD) $(CMAKE_ARGS)

build: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS)

# The program alone: most of a full build's time goes into the unit tests.
program: deps $(BUILD)/CMakeCache.txt
	cmake --build $(BUILD) -j $(JOBS) --target korvel

$(ASAN_BUILD)/CMakeCache.txt:
	cmake -S . -B $(ASAN_BUILD) -DKORVEL_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug $(CMAKE_ARGS)

build-asan: deps $(ASAN_BUILD)/CMakeCache.txt
	cmake --build $(ASAN_BUILD) -j $(JOBS)

$(FUZZ_BUILD)/CMakeCache.txt:
	CC=clang CXX=clang++ cmake -S . -B $(FUZZ_BUILD) -DKORVEL_FUZZ=ON

build-fuzz: deps-fuzz $(FUZZ_BUILD)/CMakeCache.txt
	cmake --build $(FUZZ_BUILD) -j $(JOBS)

run: program
	@echo "korvel serves examples/site: open http://127.0.0.1:8080/ in a browser (Ctrl+C stops it)"
	@cd examples && exec ../$(BUILD)/korvel -server

test: build build-asan
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS)
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
	  ctest --output-on-failure -j $(JOBS) -E '^(e2e|tui)\.'
	cd $(ASAN_BUILD) && ASAN_OPTIONS=detect_leaks=1 ctest --output-on-failure -j $(JOBS) -L sanitized

# Each fuzz target for FUZZ_SECONDS (FUZZ_TARGETS="url page" for some only); fails on a finding.
fuzz: build-fuzz
	tests/fuzz/run $(FUZZ_BUILD) $(FUZZ_SECONDS) $(FUZZ_TARGETS)

install: build
	cmake --install $(BUILD)

clean:
	rm -rf $(BUILD) $(ASAN_BUILD) $(FUZZ_BUILD)
