# The front door. `make` alone prints what there is; CMake does the work.
#
# Targets that build first install the Debian packages that are missing. With SETUP=no nothing here
# calls apt, sudo or the network. CXXFLAGS, CPPFLAGS and LDFLAGS go to the compiler and the linker;
# CFLAGS has nothing to say, there is no C.

PREFIX ?= /usr/local
# Some tests wait for most of their time.
CTEST_PARALLEL_LEVEL ?= $(shell echo $$((2 * $$(nproc))))
MINUTES ?= 10
RUNS ?= 100
FORKS ?= 10000
export CFLAGS CPPFLAGS CXXFLAGS LDFLAGS CTEST_PARALLEL_LEVEL MINUTES RUNS FORKS

PLAIN = build/plain
# Given each time: CMake itself would look at the environment once and never again. An optimisation
# level in CXXFLAGS replaces that of the release build, which would come after it.
FLAGS = -DCMAKE_CXX_FLAGS="$$CPPFLAGS $$CXXFLAGS" \
	-DCMAKE_CXX_FLAGS_RELEASE="$(if $(filter -O%,$(CXXFLAGS)),,-O3 )-DNDEBUG" \
	-DCMAKE_EXE_LINKER_FLAGS="$$LDFLAGS" -DCMAKE_SHARED_LINKER_FLAGS="$$LDFLAGS"
set_up = $(if $(filter no,$(SETUP)),,@scripts/setup $(1))

.PHONY: help setup build demo test soak storms forks faults fuzz mutants bench docs check install slips clean

help: ## print this
	@echo 'make TARGET [SETUP=no] [CXXFLAGS=...] [CPPFLAGS=...] [LDFLAGS=...]'
	@sed -n 's/^\([a-z]*\):[^#]*## \(.*\)/  \1\t\2/p' Makefile | expand -t 12

setup: ## install the Debian packages that the other targets need
	$(call set_up,test)

build: ## build the library and the tool for use, without tests, in build/plain
	$(call set_up,demo)
	cmake -S . -B $(PLAIN) -G Ninja -DCMAKE_BUILD_TYPE=Release -DTARQLOG_BUILD_TESTS=OFF \
		-DCMAKE_INSTALL_PREFIX="$(PREFIX)" $(FLAGS)
	cmake --build $(PLAIN)

demo: build ## route this machine's own messages three ways and roll them, and count the lines
	scripts/demo $(PLAIN)/tools/tarqlog

test: ## build everything, warnings as errors, in build/release and run every test
	$(call set_up,test)
	cmake --preset release $(FLAGS)
	cmake --build --preset release
	ctest --preset release --output-junit junit.xml

soak: ## log everywhere while everything goes wrong, and account for each line (MINUTES=10)
	$(call set_up,test)
	cmake --preset release $(FLAGS)
	cmake --build --preset release --target soak
	build/release/tests/soak "$$MINUTES"

storms: ## change the configuration and exit while 32 threads log, with and without the gate (RUNS=100)
	$(call set_up,test)
	cmake --preset release $(FLAGS)
	cmake --build --preset release --target storms
	build/release/tests/storms "$$RUNS"

forks: ## fork beside threads that log and configure, and check each child and line (FORKS=10000)
	$(call set_up,test)
	cmake --preset release $(FLAGS)
	cmake --build --preset release --target forks
	build/release/tests/forks "$$FORKS"

faults: ## do to us and to other libraries what goes wrong, and count the lines (ROW=disk)
	$(call set_up,faults)
	cmake --preset release $(FLAGS)
	scripts/faults $(ROW)

fuzz: ## make up inputs that might break a property of tests/fuzz, and keep those that do (MINUTES=10)
	$(call set_up,ci)
	cmake --preset fuzz
	cmake --build --preset fuzz
	scripts/fuzz $$((MINUTES * 60))

mutants: ## slip in src/ in every place, and name the slips that the tests do not notice (FILE=src/logger.cpp)
	$(call set_up,mutants)
	scripts/mutants $(FILE)

bench: ## measure us beside other libraries that write the same lines (QUICK=1, or DRAW=1 for the page)
	$(call set_up,bench)
	scripts/bench $(if $(QUICK),--quick) $(if $(DRAW),--draw)

docs: ## make the site of headers and pages in build/docs/html
	$(call set_up,docs)
	scripts/docs

check: ## hold the tree to what no test sees; scripts/gates has each gate (GATE=format, ...)
	$(call set_up,ci)
	scripts/check $(GATE)

install: build ## install what `make build` built below PREFIX (/usr/local), DESTDIR in front
	DESTDIR="$(DESTDIR)" cmake --install $(PLAIN)

slips: ## show that the tests can fail: each slip in tests/slips must be noticed (TEST=logger)
	$(call set_up,test)
	scripts/slips $(TEST)

clean: ## remove everything that was built
	rm -rf build
