<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en_GB">
<context>
    <name>XFramePlugin</name>
    <message>
        <source>IDS_CANCEL</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>IDS_NO</source>
        <translation>No</translation>
    </message>
    <message>
        <source>IDS_OK</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>IDS_YES</source>
        <translation>Yes</translation>
    </message>
</context>
<context>
    <name>DeviceMgrUIPlugin</name>
    <message>
        <source>IDS_ACTIVE_DEVICE_FALSE</source>
        <translation>Do you want to switch to the selected device? The device in use will be released.</translation>
    </message>
    <message>
        <source>IDS_DETECTE_DEVICE</source>
        <translation>A new device has been detected.</translation>
    </message>
    <message>
        <source>IDS_DEVICE_INVALID</source>
        <translation>The data card is invalid or not supported.</translation>
    </message>
    <message>
        <source>IDS_DEVICE_NAME</source>
        <translation>Device name</translation>
    </message>
    <message>
        <source>IDS_DEV_MGR_PROMPT</source>
        <translation>Choose Device</translation>
    </message>
    <message>
        <source>IDS_FPLOCK_PROMPT</source>
        <translation>This data card is locked. Place your finger on the fingerprint sensor to unlock it.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_BACKWARD_MOVEMENT</source>
        <translation>Your finger moved backwards. Swipe in one direction only.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_BAD_QUALITY</source>
        <translation>The image quality is too poor. Please try again.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CALIB_START</source>
        <translation>Calibrating the sensor...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CENTER_AND_PRESS_HARDER</source>
        <translation>Centre your finger on the sensor and press harder.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CLEAN_SENSOR</source>
        <translation>Please clean the sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CONSOLIDATION_FAIL</source>
        <translation>The fingerprint samples could not be combined. Please start again.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_CONSOLIDATION_SUCCEED</source>
        <translation>The fingerprint samples have been combined.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_ENROLL_PROGRESS</source>
        <translation>Fingerprint enrolment in progress...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_ENROLL_START</source>
        <translation>Fingerprint enrolment has started.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_FINGER_DETECT_START</source>
        <translation>Waiting for your finger...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_GOOD_IMAGE</source>
        <translation>Fingerprint accepted.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_GUI_FINISH</source>
        <translation>The fingerprint check has finished.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_GUI_FINISH_FAIL</source>
        <translation>The fingerprint check failed.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_GUI_FINISH_SUCCEED</source>
        <translation>The fingerprint check succeeded.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_IMAGE_PROCESSED</source>
        <translation>The image has been processed.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_JOINT_DETECTED</source>
        <translation>A finger joint was detected. Use your fingertip.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_KEEP_FINGER</source>
        <translation>Keep your finger on the sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_NO_FINGER</source>
        <translation>No finger detected.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_NO_MATCH</source>
        <translation>The fingerprint does not match. Please try again.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PROCESSING_IMAGE</source>
        <translation>Processing the image...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER</source>
        <translation>Place your finger on the sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER2</source>
        <translation>Place your finger on the sensor a second time.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER3</source>
        <translation>Place your finger on the sensor a third time.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER4</source>
        <translation>Place your finger on the sensor a fourth time.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_PUT_FINGER5</source>
        <translation>Place your finger on the sensor a fifth time.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_REMOVE_FINGER</source>
        <translation>Lift your finger from the sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_START</source>
        <translation>The fingerprint sensor is ready.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_SWIPE_IN_PROGRESS</source>
        <translation>Reading your finger...</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_DARK</source>
        <translation>The image is too dark. Press your finger more lightly.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_DRY</source>
        <translation>Your finger is too dry. Moisten it slightly and try again.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_FAST</source>
        <translation>Your finger moved too fast. Swipe more slowly.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_HIGH</source>
        <translation>Your finger is too high on the sensor. Move it down.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_LEFT</source>
        <translation>Your finger is too far to the left. Move it to the right.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_LIGHT</source>
        <translation>The image is too light. Press your finger a little harder.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_LOW</source>
        <translation>Your finger is too low on the sensor. Move it up.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_RIGHT</source>
        <translation>Your finger is too far to the right. Move it to the left.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_SHORT</source>
        <translation>The swipe was too short. Swipe your whole fingertip across the sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_SKEWED</source>
        <translation>Your finger is at an angle. Swipe straight across the sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_SMALL</source>
        <translation>Too little of your finger touches the sensor. Place it flat.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOO_STRANGE</source>
        <translation>The image could not be recognised. Please try again.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_TOUCH_SENSOR</source>
        <translation>Touch the sensor.</translation>
    </message>
    <message>
        <source>IDS_GUIMSG_VERIFY_START</source>
        <translation>Checking your fingerprint...</translation>
    </message>
    <message>
        <source>IDS_INIT_DEV_UNDERWAY</source>
        <translation>Initialising the device, please wait...</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_CANCEL_PROMPT</source>
        <translation>Cancel</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_CHANGEPIN_SUCCESS</source>
        <translation>The PIN has been changed.</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_DISABLEPIN_SUCCESS</source>
        <translation>PIN protection has been disabled.</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_DISABLE_WINDOWSTXT</source>
        <translation>Disable PIN</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_ENABLEPIN_SUCCESS</source>
        <translation>PIN protection has been enabled.</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_ENABLE_WINDOWSTXT</source>
        <translation>Enable PIN</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_NEW_PIN_PROMPT</source>
        <translation>New PIN:</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_NEW_PIN_PROMPT2</source>
        <translation>Confirm new PIN:</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_OLD_PIN_PROMPT</source>
        <translation>Current PIN:</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_PIN_PROMPT</source>
        <translation>Please enter the PIN of the SIM card (4 to 8 digits):</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_INPUT_PUK_PROMPT</source>
        <translation>PUK:</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_OK_PROMPT</source>
        <translation>OK</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_CANCELPROMPT</source>
        <translation>Without the PIN the data card cannot be used. Do you really want to cancel the PIN entry?</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_CHANGE_WINDOWSTXT</source>
        <translation>Change PIN</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_REMAIN_PROMPT</source>
        <translation>PIN attempts remaining: %d</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_UNLOCK_WINDOWSTXT</source>
        <translation>Unblock PIN</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PIN_VERIFY_WINDOWSTXT</source>
        <translation>Enter PIN</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PROMPT</source>
        <translation>Notice</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_PUK_REMAIN_PROMPT</source>
        <translation>PUK attempts remaining: %d</translation>
    </message>
    <message>
        <source>IDS_MAINFRM_UNKNOWN</source>
        <translation>Attempts remaining: unknown</translation>
    </message>
    <message>
        <source>IDS_MGR_LIST_PROMPT</source>
        <translation>Several data cards are attached. Select the one to use:</translation>
    </message>
    <message>
        <source>IDS_MSG_CARD_BLOCKED</source>
        <translation>The data card is permanently blocked. Please contact your network operator.</translation>
    </message>
    <message>
        <source>IDS_MSG_WWAN_PRIVILIGE</source>
        <translation>This application is not allowed to unblock the PIN. Please use the system's mobile broadband settings to unblock it.</translation>
    </message>
    <message>
        <source>IDS_PIN_CHANGE_FAILED</source>
        <translation>The PIN could not be changed. Please check the current PIN.</translation>
    </message>
    <message>
        <source>IDS_PIN_CHECK_FAILED</source>
        <translation>Incorrect PIN. Please try again.</translation>
    </message>
    <message>
        <source>IDS_PIN_DISABLE_FAILED</source>
        <translation>PIN protection could not be disabled. Please check the PIN.</translation>
    </message>
    <message>
        <source>IDS_PIN_ENABLE_FAILED</source>
        <translation>PIN protection could not be enabled. Please check the PIN.</translation>
    </message>
    <message>
        <source>IDS_PIN_MSG_PIN_DIFFER</source>
        <translation>The new PIN and its confirmation do not match.</translation>
    </message>
    <message>
        <source>IDS_PIN_PIN_LOCKED</source>
        <translation>The PIN is now blocked. Enter the PUK to unblock it.</translation>
    </message>
    <message>
        <source>IDS_PIN_PUK_FAILED</source>
        <translation>Incorrect PUK. Please try again.</translation>
    </message>
    <message>
        <source>IDS_PROMPT_CALLING_DISABLE</source>
        <translation>This operation is not available during a voice call.</translation>
    </message>
    <message>
        <source>IDS_PROMPT_CAPTION</source>
        <translation>Switch Device</translation>
    </message>
    <message>
        <source>IDS_SIM_INVALID</source>
        <translation>No valid %s card was found. Please insert a valid %s card and plug in the device again.</translation>
    </message>
</context>
</TS>
