# Two commands do everything on a fresh Debian 12 machine:
#   make run    install what is missing, build, and run the program
#   make test   install what is missing, build, and run every test
BUILD ?= build
ASAN_BUILD ?= build-asan
CMAKE_FLAGS ?=

.PHONY: run test test-sanitized deps desktop-deps build install deb bench format clean

deps:
	@scripts/install-deps

# What the tests on a private desktop need: Xvfb, the accessibility bus, a window manager and
# the applications they click in.
desktop-deps:
	@scripts/install-deps --desktop

build: deps
	@cmake -S . -B $(BUILD) -G Ninja -DTAVRIN_WERROR=ON $(CMAKE_FLAGS) > /dev/null
	@cmake --build $(BUILD)

# Installs into PREFIX in the freedesktop layout (bin/, share/tavrin, share/applications, ...);
# DESTDIR stages the files elsewhere, as packagers do.
PREFIX ?= /usr/local
install: build
	@cmake --install $(BUILD) --prefix $(PREFIX)

# The Debian package: $(BUILD)/tavrin_<version>_<arch>.deb, for `sudo apt install ./tavrin_*.deb`.
deb: build
	@cd $(BUILD) && cpack -G DEB

# The desktop application where there is a display; elsewhere the store a first start builds.
run: build
	@if [ -n "$$DISPLAY" ]; then exec $(BUILD)/tavrin; fi; \
	dir=$$(mktemp -d) && echo "No display: a headless demo. Fresh data folder: $$dir" && \
	$(BUILD)/tavrin status --data-dir "$$dir"

# The include check first: an include that points up the layers fails the run.
test: desktop-deps build
	@scripts/check-layers
	@ctest --test-dir $(BUILD) --output-on-failure

# The platform-free core tests again, under AddressSanitizer and UndefinedBehaviorSanitizer.
test-sanitized: deps
	@cmake -S . -B $(ASAN_BUILD) -G Ninja -DTAVRIN_WERROR=ON -DTAVRIN_CORE_ONLY=ON -DTAVRIN_SANITIZE=ON > /dev/null
	@cmake --build $(ASAN_BUILD) --target tavrin_core_tests
	@ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 \
		ctest --test-dir $(ASAN_BUILD) --output-on-failure

format:
	@git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf $(BUILD) $(ASAN_BUILD)
