// The error numbers of the library and the codes of the simulated service,
// named (the service's from the table kestd answers with).
#include "vg_mgmt_errors.h"

#include "kest_errors.h"
#include "vg_mgmt_client.h"

namespace vgm {

const status_text kExitStatuses[6] = {
    {EXIT_DONE, "done"},
    {EXIT_REFUSED, "the library or the service refused the command"},
    {EXIT_USAGE, "the command line is wrong (unknown word, value out of range); nothing was sent"},
    {EXIT_NO_SERVICE, "no service: its socket is missing or nobody answers there"},
    {EXIT_NO_ANSWER, "the service did not answer in time; events: --timeout came before --count"},
    {EXIT_LOST, "events --exit-on-loss: the service went away"},
};

failure call_failure(int32_t err)
{
    switch (err) {
    case MGMT_ERR_HANDLE: return {EXIT_REFUSED, err, "NULL_HANDLE", "the library was given no handle"};
    case MGMT_ERR_NOT_SUPPORTED:
        return {EXIT_REFUSED, err, "NOT_SUPPORTED", "the library does not support this command"};
    case MGMT_ERR_INVALID: return {EXIT_REFUSED, err, "INVALID_ARGUMENT", "the library refused a value"};
    case MGMT_ERR_NO_SERVICE: return {EXIT_NO_SERVICE, err, "NO_SERVICE", "no service answered"};
    case MGMT_ERR_NO_MEMORY: return {EXIT_REFUSED, err, "NO_MEMORY", "out of memory"};
    case 0: return {EXIT_NO_ANSWER, 0, "NO_ANSWER", "no answer from the service"};
    default: break;
    }
    const std::string number = "error " + std::to_string(err);
    if (const kest_error_row *row = kest_error_find(static_cast<uint32_t>(err)))
        return {EXIT_REFUSED, err, row->name, "refused by the service: " + number + " " + row->name + " (" +
                                                  row->text + ")"};
    return {EXIT_REFUSED, err, "SERVICE_ERROR", "refused by the service: " + number};
}

failure usage_failure(const std::string &message)
{
    return {EXIT_USAGE, MGMT_ERR_INVALID, "USAGE", message};
}

failure no_service(const std::string &why)
{
    return {EXIT_NO_SERVICE, MGMT_ERR_NO_SERVICE, "NO_SERVICE", why};
}

} // namespace vgm
