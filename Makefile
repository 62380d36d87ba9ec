# The jobs of the project. Each sets up what it needs, builds and runs, alone on a fresh Debian machine.
#   make demo      runs the programs on real meshes and volumes; pictures go to build/demo
#   make test      builds everything and passes all tests
#   make bench     measures every export, beside scalar models and peers
#   make coverage  writes the tests' coverage report to build/coverage/report
#   make format    formats the sources

.PHONY: all demo test bench coverage format
export CMAKE_BUILD_PARALLEL_LEVEL ?= $(shell nproc)

all:
	scripts/setup.sh build
	cmake -S . -B build/library
	cmake --build build/library

demo:
	scripts/setup.sh demo
	cmake --preset demo
	cmake --build --preset demo
	scripts/demo.sh build/demo-program/bin build/demo

test:
	scripts/setup.sh test
	cmake --preset release
	cmake --build --preset release
	ctest --test-dir build/release --output-on-failure -j 2

bench:
	scripts/setup.sh bench
	cmake --preset bench
	cmake --build --preset bench
	/usr/bin/python3 bench/data/make_head_mesh.py build/data/head.ply
	scripts/bench.sh build/bench/bin build/bench/results

coverage:
	scripts/setup.sh coverage
	cmake --preset coverage
	cmake --build --preset coverage
	ctest --test-dir build/coverage --output-on-failure
	mkdir -p build/coverage/report
	gcovr --root . --filter src/ --filter core/ --object-directory build/coverage --exclude-directories '.*CompilerIdC' \
	  --html-details build/coverage/report/index.html --print-summary

format:
	git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format -i
