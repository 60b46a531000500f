"""What programs show on terminals."""
import os


def shown_until_closed(screen):
    """All that is shown until the other side is closed; then the screen is closed as well."""
    shown = b""
    try:
        while part := os.read(screen, 65536):
            shown += part
    except OSError:
        pass  # so an end is told
    os.close(screen)
    return shown
