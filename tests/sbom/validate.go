// Reads documents of SPDX 2.3 with the library of SPDX itself. Fails unless each is valid, has the
// verification code of its files, and holds nothing that the library does not know.
package main

import (
	"bytes"
	stdjson "encoding/json"
	"fmt"
	"os"
	"reflect"

	"github.com/spdx/tools-golang/json"
	"github.com/spdx/tools-golang/spdx"
	"github.com/spdx/tools-golang/spdxlib"
	"github.com/spdx/tools-golang/utils"
)

func check(path string) error {
	text, err := os.ReadFile(path)
	if err != nil {
		return err
	}
	document, err := json.Read(bytes.NewReader(text))
	if err != nil {
		return err
	}
	if err := spdxlib.ValidateDocument(document); err != nil {
		return err
	}
	var files []*spdx.File
	files = append(files, document.Files...)
	code, err := utils.GetVerificationCode(files, "")
	if err != nil {
		return err
	}
	if own := document.Packages[0].PackageVerificationCode; own.Value != code.Value {
		return fmt.Errorf("verification code %s, and the files' is %s", own.Value, code.Value)
	}

	var again bytes.Buffer
	if err := json.Write(document, &again); err != nil {
		return err
	}
	var before, after any
	if err := stdjson.Unmarshal(text, &before); err != nil {
		return err
	}
	if err := stdjson.Unmarshal(again.Bytes(), &after); err != nil {
		return err
	}
	if !reflect.DeepEqual(before, after) {
		return fmt.Errorf("the library reads only this of it:\n%s", again.String())
	}
	return nil
}

func main() {
	for _, path := range os.Args[1:] {
		if err := check(path); err != nil {
			fmt.Printf("%s: %v\n", path, err)
			os.Exit(1)
		}
	}
	fmt.Printf("%d documents\n", len(os.Args)-1)
}
