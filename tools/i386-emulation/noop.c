/* The 64-bit twin of qemu_i386_fix.c: LD_PRELOAD names both through $LIB, so
 * that 64-bit programs started from an emulated one (wineserver, Xvfb) find a
 * library of their own class and load nothing that matters. */
void vsk_qemu_i386_fix_unused(void) {}
