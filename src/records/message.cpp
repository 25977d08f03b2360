#include <cstddef>

#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/records.h>

#include "framework/new_record.h"
#include "records/copy.h"
#include "records/member.h"

namespace {

#define MEMBER(name) offsetof(Message, name)

constexpr sprig::Member members[]{
    {&MESSAGE_APPLICATION_ID_KEY, TC_string, MEMBER(application_id), false, 0},
    {&MESSAGE_TYPE_KEY, TC_short, MEMBER(type), true, 0},
    {&MESSAGE_ID_KEY, TC_string, MEMBER(id), false, 0},
    {&MESSAGE_LABEL_KEY, TC_string, MEMBER(label), false, 0},
    {&MESSAGE_SIZE_KEY, TC_long, MEMBER(size), false, 0},
    {&MESSAGE_PRIORITY_KEY, TC_short, MEMBER(priority), false, 3},
    {&MESSAGE_DEADLINE_KEY, TC_long, MEMBER(deadline), false, 0},
    {&MESSAGE_HIDDEN_KEY, TC_boolean, MEMBER(hidden), false, 0},
    {&MESSAGE_DEPOT_INSTALL_METHOD_KEY, TC_string, MEMBER(depot_install_method), false, 0},
    {&MESSAGE_MANDATORY_DATE_KEY, TC_long, MEMBER(mandatory_date), false, 0},
    {&MESSAGE_FORCE_MANDATORY_KEY, TC_boolean, MEMBER(force_mandatory), false, 1},
    {&MESSAGE_RECV_METHOD_KEY, TC_string, MEMBER(receive_method), true, 0},
    {&MESSAGE_ARGUMENTS_KEY, TC_any, MEMBER(arguments), false, 0},
    {&MESSAGE_CALLBACK_RECV_METHOD_KEY, TC_string, MEMBER(callback_receive_method), false, 0},
    {&MESSAGE_CALLBACK_TARGET_KEY, TC_Object, MEMBER(callback_target), false, 0},
    {&MESSAGE_NOTIFY_INTERVAL_KEY, TC_long, MEMBER(notify_interval), false, 0},
    {&MESSAGE_DATA_SOURCE_KEY, TC_short, MEMBER(data_source), false, 1},
    {&MESSAGE_TARGET_ACTION_KEY, TC_short, MEMBER(target_action), false, 1},
    {&MESSAGE_REAL_TARGET_KEY, TC_Object, MEMBER(real_target), false, 0},
    {&MESSAGE_METHOD_CONTEXT_KEY, TC_short, MEMBER(method_context), false, 2},
    {&MESSAGE_BULK_DATA_FLAG_KEY, TC_boolean, MEMBER(bulk_data_flag), false, 0},
    {&MESSAGE_SEND_TIMEOUT_KEY, TC_long, MEMBER(send_timeout), false, 0},
    {&MESSAGE_RESULT_TIMEOUT_KEY, TC_long, MEMBER(result_timeout), false, 0},
    {&MESSAGE_PARENT_DIST_ID_KEY, TC_string, MEMBER(parent_distribution_id), false, 0},
    {&MESSAGE_IS_RESULT_KEY, TC_boolean, MEMBER(is_result), false, 0},
    {&MESSAGE_REPEATER_MULTICAST_KEY, TC_boolean, MEMBER(repeater_multicast), false, 0},
    {&MESSAGE_ENDPOINT_MULTICAST_KEY, TC_boolean, MEMBER(endpoint_multicast), false, 0},
    {&MESSAGE_DS_SEND_JOB_KEY, TC_boolean, MEMBER(ds_send_job), false, 0},
    {&MESSAGE_XPK_SEND_JOB_KEY, TC_boolean, MEMBER(xpk_send_job), false, 0},
    {&MESSAGE_IS_XPK_KEY, TC_boolean, MEMBER(is_xpk), false, 0},
    {&MESSAGE_XPK_MC_URL_KEY, TC_string, MEMBER(xpk_multicast_url), false, 0},
    {&MESSAGE_XPK_USERNAME_KEY, TC_string, MEMBER(xpk_user_name), false, 0},
    {&MESSAGE_XPK_TYPE_KEY, TC_string, MEMBER(xpk_type), false, 0},
    {&MESSAGE_CONTROL_DIST_ID_KEY, TC_string, MEMBER(control_distribution_id), false, 0},
    {&MESSAGE_CBE_DIST_ID_KEY, TC_string, MEMBER(cbe_distribution_id), false, 0},
    {&MESSAGE_CONTROL_TARGET_KEY, TC_Object, MEMBER(control_target), false, 0},
    {&MESSAGE_IS_EXCLUSIVE_KEY, TC_boolean, MEMBER(is_exclusive), false, 0},
    {&MESSAGE_IS_ROAM_KEY, TC_boolean, MEMBER(is_roam), false, 0},
    {&MESSAGE_ROAM_ENDPOINTS_KEY, TC_boolean, MEMBER(roam_endpoints), false, 1},
    {&MESSAGE_WOL_KEY, TC_boolean, MEMBER(wake_on_lan), false, 0},
    {&MESSAGE_MOBILE_SETUP_METH_KEY, TC_string, MEMBER(mobile_setup_method), false, 0},
    {&MESSAGE_DEPOT_IMAGE_DIR_KEY, TC_string, MEMBER(depot_image_directory), false, 0},
    {&MESSAGE_RESULT_CALLBACK_TIMEOUT_KEY, TC_long, MEMBER(result_callback_timeout), false, 0},
    {&MESSAGE_BULK_CHECKPOINT_KEY, TC_boolean, MEMBER(bulk_checkpoint), false, 0},
    {&MESSAGE_DISPLAY_DEFERRED_KEY, TC_boolean, MEMBER(display_deferred), false, 0},
    {&MESSAGE_PRUNE_SUCCESSFUL_KEY, TC_boolean, MEMBER(prune_successful), false, 0},
    {&MESSAGE_PRUNE_REWIND_KEY, TC_long, MEMBER(prune_rewind), false, 0},
};

} // namespace

Message *message_new(void) { return static_cast<Message *>(mg_calloc(1, sizeof(Message))); }

Message *message_from_properties(Properties *properties) {
  if (properties == nullptr) {
    return nullptr;
  }
  return sprig::newRecord<Message>(mg_free, [&](Message *message) {
    sprig::readMembers(properties, members, message);
    message->properties = properties;
  });
}

Message *message_new_from_properties(const Properties *properties) {
  return properties == nullptr ? nullptr : sprig::readFromCopy(properties, message_from_properties);
}

void message_delete(Message *message) {
  if (message != nullptr) {
    sprig::releaseList(message->properties);
    mg_free(message);
  }
}

void message_free_buffer(void *block) { mg_free(block); }

void message_log(void) {}
