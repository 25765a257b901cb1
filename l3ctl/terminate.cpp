/* What std::terminate() says. The C++ library's own handler names the exception's type, and brings 50 KB of demangler for
 * that; main() reports every exception, so only a broken promise of noexcept ends here. */
#include <unistd.h>

#include <cstdlib>

namespace __gnu_cxx {

// Declared by the C++ library, which takes this definition instead of its own.
void __verbose_terminate_handler();

void __verbose_terminate_handler() {
  constexpr char message[] = "l3ctl: internal error: an exception was not caught\n";
  if (write(STDERR_FILENO, message, sizeof message - 1) == -1) {
    // Nowhere to say it.
  }
  std::abort();
}

}  // namespace __gnu_cxx
