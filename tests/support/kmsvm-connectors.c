/*
 * The kernel module that gives the outputs of a virtual graphics card the wanted connector types:
 * the driver makes them all of the type Virtual, one after the other.
 */
#include <drm/drm_connector.h>
#include <linux/kprobes.h>
#include <linux/module.h>

static int types[16];
static int count;
static int made;
module_param_array(types, int, &count, 0444);

/* The fourth argument of drm_connector_init(), in its register, is the type. */
static int changeType(struct kprobe* probe, struct pt_regs* registers)
{
    if (made < count)
        registers->cx = types[made++];
    return 0;
}

static struct kprobe probe = {.symbol_name = "drm_connector_init", .pre_handler = changeType};

static int __init load(void)
{
    return register_kprobe(&probe);
}

static void __exit unload(void)
{
    unregister_kprobe(&probe);
}

module_init(load);
module_exit(unload);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Connector types for a virtual graphics card");
