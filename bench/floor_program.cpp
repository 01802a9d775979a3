// The least that a program with Qt Core and SDL's audio up can cost, with the audio driver that
// the real program chooses on a machine without sound.
#include <SDL.h>

#include <QString>
#include <cstdio>
#include <cstdlib>

int main(int /*argc*/, char** /*argv*/) {
  setenv("SDL_AUDIODRIVER", "dummy", 0);
  if (SDL_InitSubSystem(SDL_INIT_AUDIO) != 0) {
    return 1;
  }
  const QString text = QStringLiteral("nothing");
  const bool written = std::puts(text.toUtf8().constData()) >= 0;
  SDL_Quit();
  return written ? 0 : 1;
}
