/* A small application: open a handle with an event callback, set and read
 * a few settings, report failures by their error number, close. */
#include <stdio.h>
#include <string.h>

#include <vg_mgmt_client.h>

static int32_t on_event(uint32_t event_id, const void *event, uint32_t size)
{
    if (event_id == DATA_CALL_EVENT_STATUS && size == sizeof(data_call_status_event)) {
        const data_call_status_event *ev = event;
        printf("event: data call of profile %u is in state %u\n", ev->index, ev->state);
    } else {
        printf("event: 0x%05x (%u bytes)\n", event_id, size);
    }
    return 0;
}

static int check(const char *what, int32_t rc)
{
    if (rc != 0)
        fprintf(stderr, "%s failed: error number %d\n", what, vg_mgmt_get_errno());
    return rc == 0;
}

int main(void)
{
    mgmt_client *handle = NULL;
    if (!check("open", vg_mgmt_client_open(&handle, on_event)))
        return 1;

    unsigned char wifi[MGMT_WIFI_VALUE_SIZE];
    memset(wifi, 0, sizeof wifi);
    wifi_channel_params *channel = (wifi_channel_params *)wifi;
    channel->index = 1;
    channel->channel = 6;
    int ok = check("set channel",
                   vg_mgmt_client_set(handle, MGMT_COMMAND(MGMT_DOMAIN_WIFI, WIFI_CMD_CHANNEL),
                                      wifi, sizeof wifi));
    channel->channel = 0;
    ok = ok && check("get channel",
                     vg_mgmt_client_get(handle, MGMT_COMMAND(MGMT_DOMAIN_WIFI, WIFI_CMD_CHANNEL),
                                        wifi, sizeof wifi));
    if (ok)
        printf("interface %u is on channel %u\n", channel->index, channel->channel);

    /* A refused value: channel 15 does not exist. */
    channel->channel = 15;
    if (vg_mgmt_client_set(handle, MGMT_COMMAND(MGMT_DOMAIN_WIFI, WIFI_CMD_CHANNEL), wifi,
                           sizeof wifi) != 0)
        printf("channel 15 refused with error number %d\n", vg_mgmt_get_errno());

    unsigned char usb[MGMT_USB_VALUE_SIZE];
    memset(usb, 0, sizeof usb);
    usb_config_params *config = (usb_config_params *)usb;
    if (check("get usb config",
              vg_mgmt_client_get(handle, MGMT_COMMAND(MGMT_DOMAIN_USB, USB_CMD_CONFIG_GET), usb,
                                 sizeof usb)))
        printf("usb product %04x:%04x \"%.32s\"\n", config->vid, config->pid, config->product_info);
    else
        ok = 0;

    vg_mgmt_client_close(handle);
    return ok ? 0 : 1;
}
