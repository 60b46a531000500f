// An X server without a screen of its own, and what a user does at it.
#pragma once

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/no_copy.h"

namespace ombrel_test {

class x_server : no_copy {
public:
    static constexpr int columns = 800, rows = 600;

    /// Starts it and makes it the process's display; why not, missing() tells.
    x_server() {
        int ends[2];
        if (pipe(ends) != 0)
            return;
        server_ = fork();
        if (server_ == 0)
            become_server(ends[1]);
        close(ends[1]);
        char number[16] = "";
        size_t size = 0;
        while (size < sizeof number - 1 && read(ends[0], number + size, 1) == 1 && number[size] != '\n')
            size++;
        close(ends[0]);
        if (size == 0)
            return;
        name_ = ":" + std::string(number, size);
        setenv("DISPLAY", name_.c_str(), 1);
        unsetenv("WAYLAND_DISPLAY");
        display_ = XOpenDisplay(name_.c_str());
        xtest_ = dlopen("libXtst.so.6", RTLD_NOW);
        if (display_ != nullptr)
            XAutoRepeatOff(display_); // on a busy machine keys are held for long
        XSetErrorHandler([](Display*, XErrorEvent*) { return 0; }); // a window may go while it is asked about
    }
    ~x_server() {
        if (display_ != nullptr)
            XCloseDisplay(display_);
        if (server_ > 0) {
            kill(server_, SIGTERM);
            waitpid(server_, nullptr, 0);
        }
        if (xtest_ != nullptr)
            dlclose(xtest_);
    }

    const char* missing() const {
        return display_ == nullptr ? "Xvfb is not there"
               : xtest_ == nullptr ? "libXtst is not there"
                                   : nullptr;
    }

    /// The root's pixels of a rectangle, row by row, as 0xRRGGBB.
    std::vector<uint32_t> picture(int x, int y, int w, int h) const {
        std::vector<uint32_t> pixels;
        XImage* const image = XGetImage(display_, DefaultRootWindow(display_), x, y, static_cast<unsigned>(w),
                                        static_cast<unsigned>(h), AllPlanes, ZPixmap);
        for (int row = 0; row < h; row++)
            for (int column = 0; column < w; column++)
                pixels.push_back(static_cast<uint32_t>(XGetPixel(image, column, row)) & 0xFFFFFF);
        XDestroyImage(image);
        return pixels;
    }

    /// The window of a class; 0 for none.
    Window find(const char* class_name) const {
        Window found = 0, root, parent, *children = nullptr;
        unsigned count = 0;
        XQueryTree(display_, DefaultRootWindow(display_), &root, &parent, &children, &count);
        for (unsigned i = 0; i < count && found == 0; i++)
            if (class_of(children[i]) == class_name)
                found = children[i];
        if (children != nullptr)
            XFree(children);
        return found;
    }
    std::string title_of(Window window) const {
        char* text = nullptr;
        XFetchName(display_, window, &text);
        const std::string title = text != nullptr ? text : "";
        XFree(text);
        return title;
    }

    /// There is no window manager that would hand the keyboard on.
    void focus(Window window) const {
        XSetInputFocus(display_, window, RevertToParent, CurrentTime);
        XSync(display_, False);
    }
    void move(int x, int y) const { fake("XTestFakeMotionEvent", -1, x, y, 0ul); }
    void press(unsigned button, bool down) const { fake("XTestFakeButtonEvent", button, down, 0ul); }
    void click(unsigned button) const {
        press(button, true);
        press(button, false);
    }
    void key(KeySym symbol, bool down) const {
        fake("XTestFakeKeyEvent", unsigned{XKeysymToKeycode(display_, symbol)}, down, 0ul);
    }
    void ask_to_close(Window window) const {
        XEvent event = {};
        event.xclient.type = ClientMessage;
        event.xclient.window = window;
        event.xclient.message_type = XInternAtom(display_, "WM_PROTOCOLS", False);
        event.xclient.format = 32;
        event.xclient.data.l[0] = static_cast<long>(XInternAtom(display_, "WM_DELETE_WINDOW", False));
        XSendEvent(display_, window, False, NoEventMask, &event);
        XSync(display_, False);
    }

private:
    static void become_server(int number_to) {
        prctl(PR_SET_PDEATHSIG, SIGTERM); // however the test ends
        const int nothing = open("/dev/null", O_RDWR);
        dup2(nothing, 1);
        dup2(nothing, 2);
        const std::string to = std::to_string(number_to), screen = "800x600x24";
        execlp("Xvfb", "Xvfb", "-displayfd", to.c_str(), "-screen", "0", screen.c_str(), "-nolisten", "tcp",
               static_cast<char*>(nullptr));
        _exit(127);
    }

    std::string class_of(Window window) const {
        XClassHint hint;
        if (XGetClassHint(display_, window, &hint) == 0)
            return "";
        const std::string name = hint.res_class;
        XFree(hint.res_name);
        XFree(hint.res_class);
        return name;
    }

    template<typename... Arguments>
    void fake(const char* function, Arguments... arguments) const {
        using call = int (*)(Display*, Arguments...);
        reinterpret_cast<call>(dlsym(xtest_, function))(display_, arguments...);
        XSync(display_, False);
    }

    pid_t server_ = -1;
    std::string name_;
    Display* display_ = nullptr;
    void* xtest_ = nullptr;
};

} // namespace ombrel_test
