# Two commands do everything on a fresh Debian 12 machine:
#   make run    install what is missing, build the program, and run it (a demo without a display)
#   make test   install what is missing, build, and run every test
BUILD ?= build
ASAN_BUILD ?= build-asan
CMAKE_FLAGS ?=

.PHONY: run test test-sanitized deps desktop-deps configure build install deb bench format clean

deps:
	@scripts/install-deps

# What the tests on a private desktop need: Xvfb, the accessibility bus, a window manager and
# the applications they click in.
desktop-deps:
	@scripts/install-deps --desktop

configure: deps
	@cmake -S . -B $(BUILD) -G Ninja -DTAVRIN_WERROR=ON $(CMAKE_FLAGS) > /dev/null

# Everything: the program and every test.
build: configure
	@cmake --build $(BUILD)

# Installs into PREFIX in the freedesktop layout (bin/, share/tavrin, share/applications, ...);
# DESTDIR stages the files elsewhere, as packagers do.
PREFIX ?= /usr/local
install: build
	@cmake --install $(BUILD) --prefix $(PREFIX)

# The Debian package: $(BUILD)/tavrin_<version>_<arch>.deb, for `sudo apt install ./tavrin_*.deb`.
deb: build
	@cd $(BUILD) && cpack -G DEB

# Builds the program alone (with the resources, the model and the model runtime it loads), then
# starts the desktop application where there is a display. Elsewhere it plays the shipped demo
# session through the real store and prints the cheat sheet it ends with.
DEMO = $(BUILD)/resources/demo-session.jsonl
run: configure
	@cmake --build $(BUILD) --target tavrin
	@if [ -n "$$DISPLAY" ]; then exec $(BUILD)/tavrin; fi; \
	echo "No display, so here is Tavrin on a recorded session instead ($(DEMO)): Mousepad in front," && \
	echo "Save clicked three times and Find once, Ctrl+S pressed once, Print bookmarked. The cheat sheet:" && \
	echo && $(BUILD)/tavrin replay --cards $(DEMO) && echo && \
	echo "On a desktop, run $(BUILD)/tavrin (or make run) to start Tavrin: its tray icon and this cheat sheet beside your applications."

# The include check first: an include that points up the layers fails the run. Then every test
# but the end-to-end ones on the private desktop, once; then those, and a failed one once more,
# saying so: a loaded machine may hold up a real application, never a unit test.
test: desktop-deps build
	@scripts/check-layers
	@ctest --test-dir $(BUILD) --output-on-failure --label-exclude desktop
	@ctest --test-dir $(BUILD) --output-on-failure --label-regex desktop || { \
		echo "make test: retrying the failed end-to-end desktop tests once:" \
			$$(cut -d: -f2 $(BUILD)/Testing/Temporary/LastTestsFailed.log); \
		ctest --test-dir $(BUILD) --output-on-failure --rerun-failed; }

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
