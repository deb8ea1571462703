// For a program that tests single modules, below the frame that takes the locks.
namespace trace {
bool modulesAlone();
bool modulesAlone() { return true; }
}  // namespace trace
