/**
 * @file
 * @brief Records of a distribution: its segments, its message, lengths, and its status file.
 *
 * A segment, a table of contents and a message are property lists; the records here give their
 * properties as members. Members that are pointers lead into the list, live as long as it, and are
 * not freed on their own. `docs/formats/status.md` describes the status file.
 *
 * Failures are thrown, unless a function says otherwise: a property that must be there and is not
 * throws message 36 (key), one of another type 37 (key). What was made until then is released; what
 * the caller gave stays the caller's.
 */
#ifndef SPRIG_RECORDS_H
#define SPRIG_RECORDS_H

#include <stddef.h>
#include <stdint.h>

#include <sprig/api.h>
#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/types.h>

SPRIG_BEGIN_DECLS

/**
 * @name Keys
 *
 * Each name is a variable of type `const char *const`, with its text beside it.
 * @{
 */

/* clang-format off */
/** Keys of a segment's properties. */
#define SPRIG_SEGMENT_KEYS(each)                            \
  each(SEGMENT_ID_KEY, "id")                                                                       \
  each(SEGMENT_VERSION_KEY, "version")                                                             \
  each(SEGMENT_LOCATION_KEY, "location")                                                           \
  each(SEGMENT_SIZE_KEY, "size")                                                                   \
  each(SEGMENT_OFFSET_KEY, "offset")                                                               \
  each(SEGMENT_CTIME_KEY, "ctime")                                                                 \
  each(SEGMENT_MTIME_KEY, "mtime")                                                                 \
  each(SEGMENT_CHECKSUM_KEY, "checksum")                                                           \
  each(SEGMENT_DISPOSABLE_KEY, "disposable")                                                       \
  each(SEGMENT_IS_RESULT_KEY, "is_result")                                                         \
  each(SEGMENT_IS_COLLECTION_KEY, "is_collection")                                                 \
  each(SEGMENT_DELETE_AT_SOURCE_KEY, "del_at_src")                                                 \
  each(SEGMENT_XPK_MANAGER, "xpk_manager")                                                         \
  each(SEGMENT_XPK_PACKAGEID, "xpk_packageid")                                                     \
  each(SEGMENT_XPK_DESTINATION, "xpk_destination")                                                 \
  each(SEGMENT_XPK_USERNAME, "xpk_username")                                                       \
  each(SEGMENT_XPK_PASSWORD, "xpk_password")                                                       \
  each(SEGMENT_XPK_DEFERRED, "xpk_deferred")                                                       \
  each(SEGMENT_DATA_BY_REFERENCE_KEY, "data_by_reference")                                         \
  each(SEGMENT_HAS_SIZE_KEY, "has_size")                                                           \
  each(SEGMENT_DAT_FILE_KEY, "dat_file")                                                           \
  each(SEGMENT_DATA_PATH_KEY, "data_path")                                                         \
  each(SEGMENT_HOSTNAME_KEY, "hostname")

/** Keys of a distribution message, and the id that stands for none. */
#define SPRIG_MESSAGE_KEYS(each)\
  each(MESSAGE_APPLICATION_ID_KEY, "app_id")                                                       \
  each(MESSAGE_TYPE_KEY, "type")                                                                   \
  each(MESSAGE_ID_KEY, "id")                                                                       \
  each(MESSAGE_LABEL_KEY, "label")                                                                 \
  each(MESSAGE_PRIORITY_KEY, "pri")                                                                \
  each(MESSAGE_SIZE_KEY, "size")                                                                   \
  each(MESSAGE_DEADLINE_KEY, "deadline")                                                           \
  each(MESSAGE_MANDATORY_DATE_KEY, "mand_date")                                                    \
  each(MESSAGE_FORCE_MANDATORY_KEY, "force_mandatory")                                             \
  each(MESSAGE_RECV_METHOD_KEY, "recv_meth")                                                       \
  each(MESSAGE_ARGUMENTS_KEY, "args")                                                              \
  each(MESSAGE_CALLBACK_RECV_METHOD_KEY, "cb_recv_meth")                                           \
  each(MESSAGE_CALLBACK_TARGET_KEY, "cb_target")                                                   \
  each(MESSAGE_NOTIFY_INTERVAL_KEY, "notify_intv")                                                 \
  each(MESSAGE_DATA_SOURCE_KEY, "data_source")                                                     \
  each(MESSAGE_TARGET_ACTION_KEY, "target_action")                                                 \
  each(MESSAGE_REAL_TARGET_KEY, "real_target")                                                     \
  each(MESSAGE_METHOD_CONTEXT_KEY, "meth_context")                                                 \
  each(MESSAGE_BULK_DATA_FLAG_KEY, "bulk_data_flag")                                               \
  each(MESSAGE_SEND_TIMEOUT_KEY, "send_timeout")                                                   \
  each(MESSAGE_RESULT_TIMEOUT_KEY, "result_timeout")                                               \
  each(MESSAGE_PARENT_DIST_ID_KEY, "parent_dist_id")                                               \
  each(MESSAGE_IS_RESULT_KEY, "is_result")                                                         \
  each(MESSAGE_CONTROL_DIST_ID_KEY, "cntl_dist_id")                                                \
  each(MESSAGE_CBE_DIST_ID_KEY, "cbe_dist_id")                                                     \
  each(MESSAGE_CONTROL_TARGET_KEY, "cntl_target_oid")                                              \
  each(MESSAGE_IS_EXCLUSIVE_KEY, "is_exclusive")                                                   \
  each(MESSAGE_ROAM_ENDPOINTS_KEY, "roam_endpoints")                                               \
  each(MESSAGE_IS_ROAM_KEY, "is_roam")                                                             \
  each(MESSAGE_WOL_KEY, "wake_on_lan")                                                             \
  each(MESSAGE_HIDDEN_KEY, "hidden")                                                               \
  each(MESSAGE_DEPOT_INSTALL_METHOD_KEY, "depot_install_meth")                                     \
  each(MESSAGE_MOBILE_SETUP_METH_KEY, "mob_setup")                                                 \
  each(MESSAGE_DEPOT_IMAGE_DIR_KEY, "image_dir")                                                   \
  each(MESSAGE_RESULT_CALLBACK_TIMEOUT_KEY, "res_cb_timeout")                                      \
  each(MESSAGE_REPEATER_MULTICAST_KEY, "repeater_multicast")                                       \
  each(MESSAGE_ENDPOINT_MULTICAST_KEY, "endpoint_multicast")                                       \
  each(MESSAGE_DS_SEND_JOB_KEY, "ds_send_job")                                                     \
  each(MESSAGE_BULK_CHECKPOINT_KEY, "bulk_checkpoint")                                             \
  each(MESSAGE_DISPLAY_DEFERRED_KEY, "display_DEFERRED")                                           \
  each(MESSAGE_PRUNE_SUCCESSFUL_KEY, "prune_successful")                                           \
  each(MESSAGE_PRUNE_REWIND_KEY, "prune_rewind")                                                   \
  each(MESSAGE_IS_XPK_KEY, "is_xpk")                                                               \
  each(MESSAGE_XPK_SEND_JOB_KEY, "xpk_send_job")                                                   \
  each(MESSAGE_XPK_MC_URL_KEY, "xpk_mc_url")                                                       \
  each(MESSAGE_XPK_USERNAME_KEY, "xpk_username")                                                   \
  each(MESSAGE_XPK_TYPE_KEY, "xpk_type")                                                           \
  each(MESSAGE_USER_ID_KEY, "u_id")                                                                \
  each(MESSAGE_MOBILE_NOTE_KEY, "mobile_note")                                                     \
  each(MESSAGE_ESCALATE_DATE_KEY_0, "escalate_date.0")                                             \
  each(MESSAGE_ESCALATE_DATE_KEY_1, "escalate_date.1")                                             \
  each(MESSAGE_ESCALATE_DATE_KEY_2, "escalate_date.2")                                             \
  each(MESSAGE_ESCALATE_DATE_KEY_3, "escalate_date.3")                                             \
  each(MESSAGE_ESCALATE_DATE_KEY_4, "escalate_date.4")                                             \
  each(MESSAGE_ESCALATE_DATE_KEY_5, "escalate_date.5")                                             \
  each(MESSAGE_ESCALATE_DATE_KEY_6, "escalate_date.6")                                             \
  each(MESSAGE_ESCALATE_DATE_KEY_7, "escalate_date.7")                                             \
  each(MESSAGE_ESCALATE_DATE_KEY_8, "escalate_date.8")                                             \
  each(MESSAGE_ESCALATE_DATE_KEY_9, "escalate_date.9")                                             \
  each(MESSAGE_ESCALATE_MSG_KEY_0, "escalate_msg.0")                                               \
  each(MESSAGE_ESCALATE_MSG_KEY_1, "escalate_msg.1")                                               \
  each(MESSAGE_ESCALATE_MSG_KEY_2, "escalate_msg.2")                                               \
  each(MESSAGE_ESCALATE_MSG_KEY_3, "escalate_msg.3")                                               \
  each(MESSAGE_ESCALATE_MSG_KEY_4, "escalate_msg.4")                                               \
  each(MESSAGE_ESCALATE_MSG_KEY_5, "escalate_msg.5")                                               \
  each(MESSAGE_ESCALATE_MSG_KEY_6, "escalate_msg.6")                                               \
  each(MESSAGE_ESCALATE_MSG_KEY_7, "escalate_msg.7")                                               \
  each(MESSAGE_ESCALATE_MSG_KEY_8, "escalate_msg.8")                                               \
  each(MESSAGE_ESCALATE_MSG_KEY_9, "escalate_msg.9")                                               \
  each(MESSAGE_FAIL_UNAVAILABLE_KEY, "fail_unavail")                                               \
  each(MESSAGE_DEPOT_ARGS_KEY, "depot_args")                                                       \
  each(MESSAGE_EP_DEPOT_KEY, "ep_depot")                                                           \
  each(MESSAGE_DATA_PATH_KEY, "data_path")                                                         \
  each(MESSAGE_IS_MULTICAST_KEY, "is_multicast")                                                   \
  each(MESSAGE_REAL_TARGET_LABEL, "real_target_label")                                             \
  each(MESSAGE_REAL_TARGET_UNIQUE_ID, "real_target_unique_id")                                     \
  each(MESSAGE_DIST_MGR_KEY, "dist_mgr")                                                           \
  each(MESSAGE_RPT_CHAIN_KEY, "rpt_chain")                                                         \
  each(MESSAGE_RPT_CHAIN_2_KEY, "rpt_chain_2")                                                     \
  each(MESSAGE_RESULTS_KEY, "results")                                                             \
  each(MESSAGE_EXCEPTION_KEY, "exception")                                                         \
  each(MESSAGE_SEGMENT_FILE_LIST_KEY, "segs")                                                      \
  each(MESSAGE_COMMAND_CANCEL_KEY, "cmd_cancel")                                                   \
  each(MESSAGE_COMMAND_PAUSE_KEY, "cmd_pause")                                                     \
  each(MESSAGE_BYPASS_ROUTE_KEY, "bypass_route")                                                   \
  each(MESSAGE_VALIDATE_DB_CONN_KEY, "dist_validate_db_conn")                                      \
  each(MESSAGE_ENDPOINT_TYPE_KEY, "endpoint_type")                                                 \
  each(MESSAGE_USER_CAN_REJECT_KEY, "user_can_reject")                                             \
  each(MESSAGE_USER_INITIATED_KEY, "user_initiated")                                               \
  each(MESSAGE_IS_MULTISTART_KEY, "is_multistart")                                                 \
  each(MESSAGE_PENDING_CANCEL_KEY, "pending_cancel")                                               \
  each(MESSAGE_XPK_TARGET_LIST_KEY, "xpk_target_list")                                             \
  each(MESSAGE_INVALID_DIST_ID, "<invalid id>")

/** Keys of a result. */
#define SPRIG_RESULT_KEYS(each)                                           \
  each(RESULT_IS_FLUSHED_KEY, "r_flsd")                                                            \
  each(RESULT_INTERRUPTION_COUNT_KEY, "r_ic")                                                      \
  each(RESULT_SENDING_TIME_KEY, "r_et")                                                            \
  each(RESULT_INTERRUPTED_TIME_KEY, "r_it")                                                        \
  each(RESULT_RECEIVING_TIME_KEY, "r_rt")                                                          \
  each(RESULT_UNAVAILABLE_TIME_KEY, "r_ut")                                                        \
  each(RESULT_PAUSED_TIME_KEY, "r_pt")                                                             \
  each(RESULT_WAITING_TIME_KEY, "r_wt")                                                            \
  each(RESULT_FINISH_TIME_KEY, "r_ft")                                                             \
  each(RESULT_START_TIME_KEY, "r_st")                                                              \
  each(RESULT_STATE_KEY, "r_s")                                                                    \
  each(RESULT_HAS_BULK_DATA_KEY, "r_bulk")                                                         \
  each(RESULT_VALUE_KEY, "r_val")                                                                  \
  each(RESULT_IS_EXCEPTION_KEY, "r_is_ex")                                                         \
  each(RESULT_RPT_SOURCE_KEY, "r_rpt_src")                                                         \
  each(RESULT_LABEL_KEY, "r_label")                                                                \
  each(RESULT_SOURCE_KEY, "r_src")

/** Keys of a node, and of a job. */
#define SPRIG_NODE_KEYS(each)                                 \
  each(NODE_TOTAL_KEY, "n_total")                                                                  \
  each(NODE_SENT_KEY, "n_sent")                                                                    \
  each(NODE_TOTAL_HI_KEY, "n_total_hi")                                                            \
  each(NODE_SENT_HI_KEY, "n_sent_hi")                                                              \
  each(NODE_COMMAND_KEY, "n_command")                                                              \
  each(NODE_DIST_PAUSED_GW_DOWN_KEY, "n_d_paused")                                                 \
  each(NODE_IS_MOBILE_KEY, "n_is_mob")                                                             \
  each(NODE_NEW_JOBS_KEY, "n_njobs")                                                               \
  each(NODE_STATE_KEY, "n_state")                                                                  \
  each(JOB_TOC_KEY, "j_toc")
/* clang-format on */

/** Declares the variable of a key. */
#define SPRIG_DECLARE_KEY(name, text) SPRIG_API extern const char *const name;

SPRIG_SEGMENT_KEYS(SPRIG_DECLARE_KEY)
SPRIG_MESSAGE_KEYS(SPRIG_DECLARE_KEY)
SPRIG_RESULT_KEYS(SPRIG_DECLARE_KEY)
SPRIG_NODE_KEYS(SPRIG_DECLARE_KEY)
#undef SPRIG_DECLARE_KEY

/** @} */

/**
 * @name Segments
 * @{
 */

/** A unit of distributed data: a file, or a slice of one. */
typedef struct Segment {
  Properties *properties;   /**< Its description, owned unless the segment is in a #Toc. */
  char *id;                 /**< "id" */
  char *version;            /**< "version" */
  OctetList *checksum;      /**< "checksum", or null. */
  int32_t ctime;            /**< "ctime", in seconds since the epoch, or 0. */
  int32_t mtime;            /**< "mtime", in seconds since the epoch, or 0. */
  char *location;           /**< "location", a path at the source, or null. */
  int32_t offset;           /**< "offset": bytes that have arrived, or 0. */
  int32_t size;             /**< "size" in bytes, or 0. */
  uint8_t disposable;       /**< "disposable", or 0. */
  uint8_t is_result;        /**< "is_result", or 0. */
  uint8_t is_collection;    /**< "is_collection", or 0. */
  void *data_block;         /**< A block for mg_free(), owned, or null. */
  uint8_t delete_at_source; /**< "del_at_src", or 0. */
  uint8_t found;            /**< Whether a search has found its data; 0. */
  char *xpk_manager;        /**< "xpk_manager", or null. */
  char *xpk_packageid;      /**< "xpk_packageid", or null. */
  char *xpk_destination;    /**< "xpk_destination", or null. */
  char *xpk_username;       /**< "xpk_username", or null. */
  char *xpk_password;       /**< "xpk_password", or null. */
} Segment;

/** @return a segment of zeros, for segment_delete(). */
SPRIG_API Segment *segment_new(void);
/**
 * Reads a segment. Its id and version must be there.
 *
 * @param properties  its description, which the segment owns from now on.
 * @return            the segment; null for null.
 */
SPRIG_API Segment *segment_from_properties(Properties *properties);
/**
 * Reads a segment from a copy of its description.
 *
 * @param properties  the description.
 * @return            the segment; null for null.
 */
SPRIG_API Segment *segment_new_from_properties(const Properties *properties);
/**
 * @param segment  a segment.
 * @return         another, read from a copy of its description; null for null.
 */
SPRIG_API Segment *segment_clone(const Segment *segment);
/**
 * Releases a segment with its description. Not for segments of a #Toc.
 *
 * @param segment  the segment; null is ignored.
 */
SPRIG_API void segment_delete(Segment *segment);

/** @} */

/**
 * @name Tables of contents
 * @{
 */

/** The segments of a distribution. */
typedef struct Toc {
  int32_t count;        /**< Number of segments. */
  Segment **segments;   /**< The segments, whose descriptions are elements of @c list; null when
                             there are none. */
  PropertiesList *list; /**< The descriptions. */
  int32_t found_count;  /**< How many segments a search has found; 0. */
} Toc;

/**
 * Reads the segments of a list.
 *
 * @param list  their descriptions. toc_delete() releases it with the segments; a caller that keeps
 *              it uses toc_free_buffer() and then mg_free().
 * @return      the segments; null for null.
 */
SPRIG_API Toc *toc_from_properties(PropertiesList *list);
/**
 * Reads the segments of a copy of a list. Where the list cannot be copied, there are none.
 *
 * @param list  their descriptions.
 * @return      the segments; null for null.
 */
SPRIG_API Toc *toc_new_from_properties(const PropertiesList *list);
/**
 * @param toc  segments.
 * @return     others, read from a copy of their list; null for null.
 */
SPRIG_API Toc *toc_clone(const Toc *toc);
/**
 * Releases the segments. Their descriptions and the record stay.
 *
 * @param toc  the segments; null is ignored.
 */
SPRIG_API void toc_free_buffer(Toc *toc);
/**
 * Releases the segments, their descriptions and the record.
 *
 * @param toc  the segments; null is ignored.
 */
SPRIG_API void toc_delete(Toc *toc);

/** @} */

/**
 * @name Messages
 * @{
 */

/** The description of a distribution job. Each member is read from the property in quotes. */
typedef struct Message {
  Properties *properties;          /**< Its properties, owned. */
  uint32_t reserved1;              /**< 0. */
  char *application_id;            /**< "app_id", or null. */
  int16_t type;                    /**< "type" (must be there). */
  char *id;                        /**< "id", or null. */
  char *label;                     /**< "label", or null. */
  int16_t priority;                /**< "pri", or 3. */
  int32_t size;                    /**< "size", or 0. */
  int32_t deadline;                /**< "deadline", or 0. */
  int32_t mandatory_date;          /**< "mand_date", or 0. */
  uint8_t force_mandatory;         /**< "force_mandatory", or 1. */
  char *receive_method;            /**< "recv_meth" (must be there). */
  any *arguments;                  /**< "args", or null. */
  char *callback_receive_method;   /**< "cb_recv_meth", or null. */
  Object callback_target;          /**< "cb_target", or null. */
  int32_t notify_interval;         /**< "notify_intv", or 0. */
  int16_t data_source;             /**< "data_source", or 1. */
  int16_t target_action;           /**< "target_action", or 1. */
  uint32_t reserved2;              /**< 0. */
  Object real_target;              /**< "real_target", or null. */
  int16_t method_context;          /**< "meth_context", or 2. */
  uint32_t reserved3;              /**< 0. */
  uint8_t bulk_data_flag;          /**< "bulk_data_flag", or 0. */
  int32_t send_timeout;            /**< "send_timeout", or 0. */
  int32_t result_timeout;          /**< "result_timeout", or 0. */
  uint32_t reserved4;              /**< 0. */
  char *parent_distribution_id;    /**< "parent_dist_id", or null. */
  uint8_t is_result;               /**< "is_result", or 0. */
  uint32_t reserved5;              /**< 0. */
  char *control_distribution_id;   /**< "cntl_dist_id", or null. */
  char *cbe_distribution_id;       /**< "cbe_dist_id", or null. */
  Object control_target;           /**< "cntl_target_oid", or null. */
  uint8_t is_exclusive;            /**< "is_exclusive", or 0. */
  uint8_t roam_endpoints;          /**< "roam_endpoints", or 1. */
  uint8_t is_roam;                 /**< "is_roam", or 0. */
  uint8_t wake_on_lan;             /**< "wake_on_lan", or 0. */
  uint8_t hidden;                  /**< "hidden", or 0. */
  char *depot_install_method;      /**< "depot_install_meth", or null. */
  uint32_t reserved6;              /**< 0. */
  char *mobile_setup_method;       /**< "mob_setup", or null. */
  char *depot_image_directory;     /**< "image_dir", or null. */
  uint32_t reserved7;              /**< 0. */
  uint32_t reserved8;              /**< 0. */
  int32_t result_callback_timeout; /**< "res_cb_timeout", or 0. */
  uint8_t repeater_multicast;      /**< "repeater_multicast", or 0. */
  uint8_t endpoint_multicast;      /**< "endpoint_multicast", or 0. */
  uint8_t ds_send_job;             /**< "ds_send_job", or 0. */
  uint8_t bulk_checkpoint;         /**< "bulk_checkpoint", or 0. */
  uint8_t display_deferred;        /**< "display_DEFERRED", or 0. */
  uint8_t prune_successful;        /**< "prune_successful", or 0. */
  int32_t prune_rewind;            /**< "prune_rewind", or 0. */
  uint8_t is_xpk;                  /**< "is_xpk", or 0. */
  uint32_t reserved9;              /**< 0. */
  uint8_t xpk_send_job;            /**< "xpk_send_job", or 0. */
  char *xpk_multicast_url;         /**< "xpk_mc_url", or null. */
  char *xpk_user_name;             /**< "xpk_username", or null. */
  char *xpk_type;                  /**< "xpk_type", or null. */
} Message;

/** @return a message of zeros, for message_delete(). */
SPRIG_API Message *message_new(void);
/**
 * Reads a message. Its "type" and "recv_meth" must be there.
 *
 * @param properties  its properties, which the message owns from now on.
 * @return            the message; null for null.
 */
SPRIG_API Message *message_from_properties(Properties *properties);
/**
 * Reads a message from a copy of its properties.
 *
 * @param properties  the properties.
 * @return            the message; null for null.
 */
SPRIG_API Message *message_new_from_properties(const Properties *properties);
/**
 * Releases a message with its properties.
 *
 * @param message  the message; null is ignored.
 */
SPRIG_API void message_delete(Message *message);
/**
 * mg_free().
 *
 * @param block  a block; null is ignored.
 */
SPRIG_API void message_free_buffer(void *block);
/** Does nothing. */
SPRIG_API void message_log(void);

/** @} */

/**
 * @name Lengths, times, commands
 * @{
 */

/** A number of bytes, in thousands and the rest. */
typedef struct Int64Length {
  uint32_t high; /**< Thousands. */
  uint32_t low;  /**< The rest, 0 to 999; after a negative number was added, also below 0. */
} Int64Length;

/** @return 0 bytes, for int64_length_delete(). */
SPRIG_API Int64Length *int64_length_new(void);
/**
 * @param high  thousands, as a decimal number.
 * @param low   the rest, as a decimal number.
 * @return      that length, for int64_length_delete().
 */
SPRIG_API Int64Length *int64_length_new2(const char *high, const char *low);
/**
 * @param length  a length.
 * @return        a copy, for int64_length_delete().
 */
SPRIG_API Int64Length *int64_length_clone(const Int64Length *length);
/**
 * Releases a length.
 *
 * @param length  the length; null is ignored.
 */
SPRIG_API void int64_length_delete(Int64Length *length);
/**
 * @param a  a length.
 * @param b  another.
 * @return   1 when both have the same parts, else 0.
 */
SPRIG_API int int64_length_equal(const Int64Length *a, const Int64Length *b);
/**
 * Adds thousands to thousands and rest to rest, and carries once from a rest above 999. A rest
 * below 0 stays.
 *
 * @param length  the length.
 * @param n       bytes to add.
 */
SPRIG_API void int64_length_add(Int64Length *length, int32_t n);
/**
 * @param length  a length.
 * @return        a block with its decimal number and a newline.
 */
SPRIG_API char *int64_length_to_string(const Int64Length *length);
/**
 * Shows a time as `YYYY/MM/DD hh:mm:ss` and a blank, in the local time zone.
 *
 * @param buffer  receives the text.
 * @param size    of @p buffer, in bytes; 21 are enough until the year 9999.
 * @param time    in seconds since the epoch.
 * @return        length of the text, 0 when it does not fit.
 */
SPRIG_API size_t time_to_string(char *buffer, size_t size, int32_t time);
/**
 * @param n  a command's number.
 * @return   its name: "NULL", "DATA", "CANCEL", "PAUSE", "EXPIRE" or "ROAM" for 0 to 5, else null.
 */
SPRIG_API const char *decode_command(uint32_t n);

/** @} */

/**
 * @name Status files
 *
 * What a method tells others about a distribution while it receives it, and afterwards.
 * @{
 */

/** A distribution's status file. Created by mstat_new(), released by mstat_free(). */
typedef struct Mstat {
  char *directory;        /**< The status directory, a path name, owned. */
  char *distribution_id;  /**< The distribution's id, owned. */
  char suffix[4];         /**< "mds" or "ads", with "f" at the end when the distribution is done. */
  char *file_name;        /**< The file's path name, owned; null until it is needed. */
  Properties *properties; /**< What is in the file, owned. */
} Mstat;

/**
 * Makes the record of a distribution's status file, and the status directory: "mstat" in the work
 * directory, or in the temporary directory where there is none. Throws nothing.
 *
 * @param distribution_id  the distribution's id, which becomes the file's name.
 * @param alternative      0 for the suffix "mds", else "ads".
 * @return                 the record, or null where there is no memory, no id or no directory with
 *                         a name that fits a path name.
 */
SPRIG_API Mstat *mstat_new(const char *distribution_id, int alternative);
/**
 * Replaces the properties with those of the file. Throws what find_dist_fname() and
 * properties_load_without_len() do, and leaves them as they are then.
 *
 * @param status  the record.
 * @return        0, or -1 where the file has no name.
 */
SPRIG_API int mstat_load(Mstat *status);
/**
 * Writes the properties to the file, with the distribution's id as "msid" where they have none.
 * Readers in other processes find the old file or the new one, never half of it, unless no file can
 * be made beside it. Throws what find_dist_fname() and properties_save_without_len() do.
 *
 * @param status  the record.
 * @return        0, or -1 where the file has no name.
 */
SPRIG_API int mstat_save(Mstat *status);
/**
 * Gives the file the name of one whose distribution is done: "mdf" or "adf" at the end. A name in
 * which the suffix turns up earlier keeps its name. Throws what find_dist_fname() does.
 *
 * @param status  the record, which goes on with the new name.
 */
SPRIG_API void mstat_done(Mstat *status);
/**
 * Releases a record. The file stays.
 *
 * @param status  the record; null is ignored.
 */
SPRIG_API void mstat_free(Mstat *status);
/**
 * @param status  a record.
 * @return        its properties, not a copy.
 */
SPRIG_API Properties *mstat_get_properties(Mstat *status);

/**
 * Fails as pathname_clone() does.
 *
 * @param id  a distribution's id.
 * @return    the name of its files without suffix, as a path name: the id.
 */
SPRIG_API char *distid_get_filename(const char *id);
/** @return null: a distribution has no further file name. */
SPRIG_API char *distid_get_next_filename(void);
/**
 * Throws message 33 when the name does not fit a path name, and what distid_get_filename() does.
 *
 * @param directory  a directory.
 * @param id         a distribution's id.
 * @param suffix     a suffix.
 * @return           the path name `directory/id.suffix`.
 */
SPRIG_API char *find_dist_fname(const char *directory, const char *id, const char *suffix);

/** @} */

SPRIG_END_DECLS

#endif
