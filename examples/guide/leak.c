/* Keeps a list of guests, forgets something about them, and is told what. */
#include <ombrel_tuk.h>

typedef struct {
    char* m_name;
} guest_t;

static guest_t* new_guest(const char* name) {
    guest_t* guest = ombrel_alloc(sizeof(*guest));
    if (guest != NULL)
        guest->m_name = ombrel_strdup(name);
    return guest;
}

static void free_guest(guest_t* guest) {
    ombrel_free(guest); /* and what about the name? */
}

int main(void) {
    guest_t* anna = new_guest("anna");
    guest_t* bert = new_guest("bert, who has a long name");
    ombrel_printf("%llu blocks live with both guests\n", (unsigned long long)ombrel_get_alloc_count());
    free_guest(anna);
    free_guest(bert);
    return ombrel_push_heap_report(NULL);
}
