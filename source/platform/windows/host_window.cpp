#include "platform/host_window.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <new>

#include "platform/fault.h"
#include "platform/windows/host_error.h"
#include "platform/windows/wide_text.h"
#include "platform/windows/window_input.h"
#include "platform/windows/windows_host.h"

namespace ombrel::platform {

namespace {

constexpr UINT close_unasked = WM_APP;
constexpr DWORD style = WS_OVERLAPPED | WS_CAPTION | WS_SYSMENU | WS_MINIMIZEBOX;

class exclusive {
public:
    explicit exclusive(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
    ~exclusive() { ReleaseSRWLockExclusive(&lock_); }
    exclusive(const exclusive&) = delete;
    exclusive& operator=(const exclusive&) = delete;

private:
    SRWLOCK& lock_;
};

SRWLOCK classes_lock = SRWLOCK_INIT; ///< while a class comes, is used for a window, or goes

} // namespace

struct host_window {
    host_window_listener listener;
    HBITMAP bitmap;
    void* pixels;
    uint32_t line_length, w, h;
    SRWLOCK
    lock;        ///< guards the window's life for other threads, and the bitmap's place in one device context
    HWND window; ///< null before and after; changed by its thread with the lock held
    ATOM window_class;
    window_input input; ///< the thread's own
};

namespace {

HINSTANCE own_module() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&classes_lock), &module);
    return module;
}

bool hear(host_window& window, const host_window_message& message) {
    return window.listener.hear(window.listener.context, message);
}

bool hear_event(host_window& window, const ombrel_window_event_t& event) {
    return event.m_kind == def_ombrel_window_event_none || hear(window, {nullptr, 0, 0, event});
}

struct named_message {
    UINT message;
    const char* name;
};

constexpr named_message named_messages[] = {
    {WM_CREATE, "create"},      {WM_PAINT, "paint"},
    {WM_COMMAND, "command"},    {WM_LBUTTONDOWN, "l-button"},
    {WM_LBUTTONUP, "l-button"}, {WM_RBUTTONDOWN, "r-button"},
    {WM_RBUTTONUP, "r-button"}, {WM_CLOSE, "close"},
    {WM_DESTROY, "destroy"},    {WM_QUIT, "quit"},
};

const char* name_of(UINT message) {
    for (const named_message& of : named_messages)
        if (of.message == message)
            return of.name;
    return nullptr;
}

// With the lock held. What was handed to the system is drawn before pixels change again.
void blit(const host_window& window, HDC to, const RECT& area) {
    const HDC from = CreateCompatibleDC(to);
    const HGDIOBJ before = SelectObject(from, window.bitmap);
    BitBlt(to, area.left, area.top, area.right - area.left, area.bottom - area.top, from, area.left, area.top,
           SRCCOPY);
    SelectObject(from, before);
    DeleteDC(from);
    GdiFlush();
}

void paint(host_window& window) {
    PAINTSTRUCT painting;
    if (const HDC to = BeginPaint(window.window, &painting); to != nullptr) {
        const exclusive guard(window.lock);
        blit(window, to, painting.rcPaint);
    }
    EndPaint(window.window, &painting);
}

// What the bitmap will cover does not flicker.
LRESULT erase_around(const host_window& window, HDC to) {
    const int before = SaveDC(to);
    ExcludeClipRect(to, 0, 0, static_cast<int>(window.w), static_cast<int>(window.h));
    const LRESULT result = DefWindowProcW(window.window, WM_ERASEBKGND, reinterpret_cast<WPARAM>(to), 0);
    RestoreDC(to, before);
    return result;
}

// The alt key alone would stop the window until another key comes.
bool is_menu_of_nothing(UINT message, WPARAM first, LPARAM second) {
    return message == WM_SYSCOMMAND && (first & 0xFFF0) == SC_KEYMENU && second == 0;
}

// Without it the system holds windows to the size of the screen, and to some least one.
void allow_any_size(LPARAM limits_address) {
    constexpr LONG frame = 1000;
    auto& limits = *reinterpret_cast<MINMAXINFO*>(limits_address);
    limits.ptMinTrackSize = {1, 1};
    limits.ptMaxTrackSize = {LONG{host_window_most} + frame, LONG{host_window_most} + frame};
}

void forget_window(host_window& window) {
    const exclusive guard(window.lock);
    window.window = nullptr;
}

void let_go_of_keys(host_window& window) {
    for (ombrel_window_event_t event;
         (event = window.input.let_go_of_key()).m_kind != def_ombrel_window_event_none;)
        hear_event(window, event);
}

// The system's own answer follows to what is not answered here.
bool answer(host_window& window, UINT message, bool is_to_close) {
    switch (message) {
    case WM_PAINT:
        paint(window);
        return true;
    case WM_CLOSE:
        if (is_to_close)
            DestroyWindow(window.window);
        return true;
    case close_unasked:
        DestroyWindow(window.window);
        return true;
    case WM_DESTROY:
        forget_window(window);
        PostQuitMessage(0);
        return true;
    case WM_KILLFOCUS:
        let_go_of_keys(window);
        return true;
    default:
        return false;
    }
}

LRESULT CALLBACK handle(HWND handle, UINT message, WPARAM first, LPARAM second) {
    if (message == WM_GETMINMAXINFO) {
        allow_any_size(second);
        return 0;
    }
    if (message == WM_NCCREATE) {
        auto* const opening =
            static_cast<host_window*>(reinterpret_cast<CREATESTRUCTW*>(second)->lpCreateParams);
        opening->window = handle;
        SetWindowLongPtrW(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(opening));
    }
    auto* const window = reinterpret_cast<host_window*>(GetWindowLongPtrW(handle, GWLP_USERDATA));
    if (window == nullptr)
        return DefWindowProcW(handle, message, first, second);
    if (message == WM_ERASEBKGND)
        return erase_around(*window, reinterpret_cast<HDC>(first));
    if (is_menu_of_nothing(message, first, second))
        return 0;
    const host_window_message told = {name_of(message), first, static_cast<uint64_t>(second),
                                      window->input.translate(handle, message, first, second)};
    const bool is_told = told.name != nullptr || told.event.m_kind != def_ombrel_window_event_none;
    const bool result = !is_told || hear(*window, told);
    return answer(*window, message, result) ? 0 : DefWindowProcW(handle, message, first, second);
}

struct bitmap_header {
    BITMAPINFOHEADER header;
    union {
        DWORD masks[3];
        RGBQUAD colors[256];
    };
};

bitmap_header describe(const host_window_wish& wish) {
    const host_window_format& format = *wish.format;
    bitmap_header info = {};
    info.header.biSize = sizeof info.header;
    info.header.biWidth = static_cast<LONG>(wish.w);
    info.header.biHeight = -static_cast<LONG>(wish.h); // rows from the top
    info.header.biPlanes = 1;
    info.header.biBitCount = static_cast<WORD>(format.bits_per_pixel);
    if (format.bits_per_pixel == 16 || format.bits_per_pixel == 32) {
        info.header.biCompression = BI_BITFIELDS;
        info.masks[0] = format.red;
        info.masks[1] = format.green;
        info.masks[2] = format.blue;
    }
    for (size_t i = 0; format.bits_per_pixel == 8 && i < std::size(info.colors); i++) {
        const uint32_t color = format.colors[i];
        info.colors[i] = {static_cast<BYTE>(color), static_cast<BYTE>(color >> 8),
                          static_cast<BYTE>(color >> 16), 0};
    }
    return info;
}

// Rows begin at multiples of four bytes.
bool make_bitmap(host_window& window, const host_window_wish& wish) {
    const bitmap_header info = describe(wish);
    window.w = wish.w;
    window.h = wish.h;
    window.line_length = (wish.w * wish.format->bits_per_pixel + 31) / 32 * 4;
    window.bitmap = CreateDIBSection(nullptr, reinterpret_cast<const BITMAPINFO*>(&info), DIB_RGB_COLORS,
                                     &window.pixels, nullptr, 0);
    if (window.bitmap == nullptr)
        leave_fault(fault_code::no_memory);
    return window.bitmap != nullptr;
}

// One that is there is of the same module: its windows are handled here, too.
bool make_class(const wchar_t* name) {
    const LPCWSTR arrow = MAKEINTRESOURCEW(32512);
    WNDCLASSEXW wanted = {};
    wanted.cbSize = sizeof wanted;
    wanted.lpfnWndProc = handle;
    wanted.hInstance = own_module();
    wanted.hCursor = LoadCursorW(nullptr, arrow);
    wanted.hbrBackground = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    wanted.lpszClassName = name;
    return RegisterClassExW(&wanted) != 0 || GetLastError() == ERROR_CLASS_ALREADY_EXISTS;
}

HWND make_window(host_window& window, const host_window_wish& wish, const wchar_t* class_name,
                 const wchar_t* title) {
    constexpr int32_t farthest = 16000;
    const auto place = [&](int32_t wanted) {
        return wish.is_placed ? std::clamp(wanted, -farthest, farthest) : CW_USEDEFAULT;
    };
    RECT frame = {0, 0, static_cast<LONG>(wish.w), static_cast<LONG>(wish.h)};
    AdjustWindowRectEx(&frame, style, FALSE, 0);
    return CreateWindowExW(0, class_name, title, style, place(wish.x), place(wish.y),
                           frame.right - frame.left, frame.bottom - frame.top, nullptr, nullptr, own_module(),
                           &window);
}

// Where there is no desktop the system says little.
bool tell_refusal() {
    fail_by_last_error();
    if (failed_by(-1, fault_code::input_output))
        leave_fault(fault_code::not_found);
    return false;
}

bool create(host_window& window, const host_window_wish& wish) {
    const wide_text class_name(wish.class_name), title(wish.title);
    constexpr size_t longest_class_name = 255;
    if (!class_name || !title)
        return false;
    if (class_name.size() == 0 || class_name.size() > longest_class_name) {
        leave_fault(fault_code::invalid);
        return false;
    }
    if (!make_bitmap(window, wish))
        return false;
    const exclusive guard(classes_lock);
    if (!make_class(class_name.get()))
        return fail_by_last_error() == 0;
    const HWND made = make_window(window, wish, class_name.get(), title.get());
    if (made == nullptr)
        return tell_refusal();
    window.window_class = static_cast<ATOM>(GetClassLongPtrW(made, GCW_ATOM));
    return true;
}

// The last window of a class takes it along; before, the system refuses.
void end_class(ATOM window_class) {
    const exclusive guard(classes_lock);
    if (window_class != 0)
        UnregisterClassW(MAKEINTRESOURCEW(window_class), own_module());
}

} // namespace

bool has_host_windows() {
    return true;
}

host_window* open_host_window(const host_window_wish& wish, const host_window_listener& listener) {
    void* const block = calloc(1, sizeof(host_window));
    if (block == nullptr) {
        leave_fault(fault_code::no_memory);
        return nullptr;
    }
    auto* const opening = new (block) host_window();
    opening->listener = listener;
    if (!create(*opening, wish)) {
        const fault_keeper why;
        free_host_window(opening);
        return nullptr;
    }
    ShowWindow(opening->window, SW_SHOWNORMAL);
    UpdateWindow(opening->window);
    return opening;
}

void* host_window_pixels(const host_window& window, uint32_t& line_length) {
    line_length = window.line_length;
    return window.pixels;
}

void blit_host_window(host_window& window, int32_t x, int32_t y, uint32_t w, uint32_t h) {
    const exclusive guard(window.lock);
    const HDC to = window.window != nullptr ? GetDC(window.window) : nullptr;
    if (to == nullptr)
        return;
    blit(window, to, {x, y, x + static_cast<LONG>(w), y + static_cast<LONG>(h)});
    ReleaseDC(window.window, to);
}

bool next_host_window_message(host_window& window) {
    MSG message;
    if (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
        return true;
    }
    hear(window, {name_of(WM_QUIT), message.wParam, static_cast<uint64_t>(message.lParam), {}});
    return false;
}

void close_host_window(host_window& window) {
    const exclusive guard(window.lock);
    if (window.window != nullptr)
        PostMessageW(window.window, close_unasked, 0, 0);
}

void free_host_window(host_window* window) {
    if (window == nullptr)
        return;
    end_class(window->window_class);
    if (window->bitmap != nullptr)
        DeleteObject(window->bitmap);
    free(window);
}

} // namespace ombrel::platform
